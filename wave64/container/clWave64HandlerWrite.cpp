// Writing a new file, and the headers of an edited one.

#include "audio/format/XAudioWFX.h"
#include "base/LittleEndian.h"
#include "interface/StdReport.h"
#include "wave64/container/clWave64Handler.h"

#include <algorithm>
#include <array>
#include <new>

namespace w64 {

namespace {

constexpr const char* kAddChunk = "AddChunk";
constexpr const char* kInitializeNewWAV = "InitializeNewWAV";
constexpr const char* kWriteChunkHeaders = "WriteChunkHeaders";
constexpr const char* kWriteChunkData = "WriteChunkData";
constexpr std::wstring_view kCannotWrite = L"Error writing to file, disk full?";

XStr DescribeChunk(std::wstring_view action, const STRIFFChunk& chunk) {
    return XStr(action) + L" '" + Widen(RIFFChnkGUID2CHR(chunk.ChunkGUID)) + L"'  Length: " +
           Int2Str(chunk.DataSize) + L"  ChunkPosition: " + Int2Str(chunk.ChunkPosition) +
           L"  ChunkDataPos: " + Int2Str(chunk.FileDataPosition);
}

uint32_t FmtBytes(const tWAVEFORMATEX& format) {
    return format.wFormatTag == kTagPCM ? sizeof(WAVEFORMAT) + sizeof(format.wBitsPerSample)
                                        : sizeof(tWAVEFORMATEX) + format.cbSize;
}

}  // namespace

void clWave64Handler::AddChunk(std::string_view fourcc, uint32_t dataSize, const void* data, int position) {
    StdReport::WriteDEBUG(
        L"->->", [&] { return L" Adding Chunk '" + Widen(fourcc) + L"' Length: " + Int2Str(dataSize); },
        report_, kAddChunk);
    STRIFFChunk& chunk = chunks_.Insert(position < 0 ? Count() : std::min(position, Count()));
    chunk.ChunkGUID = ConvertToGUID(RIFFChnkID(fourcc));
    chunk.DataSize = dataSize;
    chunk.WriteHeader = true;
    if (data && !chunk.ChunkData.Assign(data, dataSize)) throw std::bad_alloc();
    CalcAllChunks();
    StdReport::WriteDEBUG(L"<-<-", report_, kAddChunk, true);
}

bool clWave64Handler::InitializeNewWAV(void* fileHandle, const tWAVEFORMATEX* format,
                                       const STNStdReport& report, const clPassRIFFChunks& passChunks,
                                       int convertExtensible) {
    report_ = report;
    StdReport::WriteDEBUG(L"->->", report_, kInitializeNewWAV, true);
    DefaultCreate();
    Open(fileHandle);
    XAudioWFX plain;
    if (convertExtensible == 1 && format->wFormatTag == kTagExtensible) {
        plain.Assign(format);
        if (plain.ConvertExtensibleToWFX()) format = plain.wfx();
    }
    ListNewChunks(*format, passChunks);
    if (!WriteChunkHeaders(true) || !WriteChunksUpToData()) return false;
    StdReport::WriteDEBUG(L"<-<-", report_, kInitializeNewWAV, true);
    return true;
}

void clWave64Handler::ListNewChunks(const tWAVEFORMATEX& format, const clPassRIFFChunks& passChunks) {
    const uint32_t fmtBytes = FmtBytes(format);
    for (int i = 0; i < passChunks.Count(); ++i) {
        const STPassRIFFChunks& passed = passChunks[i];
        const std::string fourcc = RIFFChnkID2CHR(passed.ChunkID);
        const bool isFmt = CompareID(passed.ChunkID, "fmt ", true);
        const bool isData = CompareID(passed.ChunkID, "data", true);
        const auto bytes = isFmt ? fmtBytes : isData ? 0 : static_cast<uint32_t>(passed.Data.Size());
        AddChunk(fourcc, bytes, isFmt ? nullptr : passed.Data.Data(), -1);
    }
    if (IndexOfChunk("fmt ") < 0) AddChunk("fmt ", fmtBytes, nullptr, IndexOfDataChunk());
    if (IndexOfDataChunk() < 0) AddChunk("data", 0, nullptr, -1);
    if (!FindChunkForRead("fmt ")->ChunkData.Assign(&format, fmtBytes)) throw std::bad_alloc();
}

bool clWave64Handler::WriteChunksUpToData() {
    for (const STRIFFChunk& chunk : chunks_) {
        if (CompareGUID(chunk.ChunkGUID, RIFFChnkID("data"))) {
            return SetPosition(chunk.FileDataPosition) ||
                   StdReport::Fail(L"Error Setting File Position.", report_, kInitializeNewWAV);
        }
        if (HoldsItsData(chunk) && !WriteChunkData(chunk, chunk.ChunkData.Data(), chunk.ChunkData.Size())) {
            return false;
        }
    }
    return true;
}

bool clWave64Handler::WriteChunksAfterData() {
    CalcAllChunks();  // the audio has grown, so the old positions lie within it
    const int data = IndexOfDataChunk();
    for (int i = data + 1; data >= 0 && i < Count(); ++i) {
        const STRIFFChunk& chunk = chunks_[i];
        if (HoldsItsData(chunk) && !WriteChunkData(chunk, chunk.ChunkData.Data(), chunk.ChunkData.Size())) {
            return false;
        }
    }
    return true;
}

bool clWave64Handler::WriteChunkHeaders(bool stopAtData) {
    StdReport::WriteDEBUG(L"->->", report_, kWriteChunkHeaders, true);
    CalcAllChunks();
    if (Size() == 0 && !WriteOuterHeader(0)) return false;
    for (STRIFFChunk& chunk : chunks_) {
        if (!chunk.WriteHeader) continue;
        if (!WriteChunkHeader(chunk)) return false;
        if (stopAtData && RIFFChnkGUID2CHR(chunk.ChunkGUID) == "data") {
            StdReport::WriteDEBUG(L"<-<- Exit as only write to data chunk", report_, kWriteChunkHeaders,
                                  true);
            return true;
        }
    }
    if (!WriteOuterHeader(SizeField(riffSize_)) || !CutToRiffSize()) return false;
    StdReport::WriteDEBUG(L"<-<-", report_, kWriteChunkHeaders, true);
    return true;
}

// The safe rules also extend the file by padding that the last chunk lacks.
bool clWave64Handler::CutToRiffSize() {
    const int64_t size = Size();
    if (size < 0) return StdReport::Fail(L"Error reading File Size.", report_, kWriteChunkHeaders);
    if (size == riffSize_ || (size < riffSize_ && !rules_.safe)) return true;
    return SetFileSize(riffSize_) || StdReport::Fail(kCannotWrite, report_, kWriteChunkHeaders);
}

bool clWave64Handler::WriteChunkHeader(STRIFFChunk& chunk) {
    StdReport::WriteDEBUG([&] { return DescribeChunk(L"Writing Chunk Header", chunk); }, report_,
                          kWriteChunkHeaders);
    if (!SetPosition(chunk.ChunkPosition)) {
        return StdReport::Fail(L"Error Setting File Chunk Position, lack of disk space?", report_,
                               kWriteChunkHeaders);
    }
    std::array<uint8_t, kChunkHeaderBytes> header;
    base::Store(header.data(), chunk.ChunkGUID);
    base::Store(header.data() + 16, SizeField(chunk.DataSize) + kChunkHeaderBytes);
    if (!Write(header.data(), header.size()))
        return StdReport::Fail(kCannotWrite, report_, kWriteChunkHeaders);
    chunk.WriteHeader = false;  // only now, so that a repeated call resumes where this one failed
    return true;
}

bool clWave64Handler::WriteOuterHeader(uint64_t sizeField) {
    if (!SetPosition(0))
        return StdReport::Fail(L"Error Setting File Position to 0.", report_, kWriteChunkHeaders);
    std::array<uint8_t, kOuterHeaderBytes> header;
    base::Store(header.data(), ConvertToGUID(RiffID));
    base::Store(header.data() + 16, sizeField);
    base::Store(header.data() + 24, ConvertToGUID(FormType));
    return Write(header.data(), header.size()) || StdReport::Fail(kCannotWrite, report_, kWriteChunkHeaders);
}

bool clWave64Handler::WriteChunkData(const STRIFFChunk& chunk, const void* data, size_t size) {
    StdReport::WriteDEBUG([&] { return DescribeChunk(L"Writing Chunk Data", chunk); }, report_,
                          kWriteChunkData);
    if (!SetPosition(chunk.FileDataPosition))
        return StdReport::Fail(L"Error Setting File Position.", report_, kWriteChunkData);
    return Write(data, size) || StdReport::Fail(kCannotWrite, report_, kWriteChunkData);
}

// True if the record holds the chunk's complete data.
bool clWave64Handler::HoldsItsData(const STRIFFChunk& chunk) {
    return !chunk.ChunkData.IsEmpty() && static_cast<int64_t>(chunk.ChunkData.Size()) == chunk.DataSize;
}

uint64_t clWave64Handler::SizeField(int64_t bytes) const {
    return rules_.safe ? static_cast<uint64_t>(bytes) : static_cast<uint32_t>(bytes);
}

}  // namespace w64
