#include "wave64/container/clWave64Handler.h"

#include "base/Saturating.h"
#include "interface/StdReport.h"

#include <algorithm>

namespace w64 {

bool clWave64Handler::Initialize(void* fileHandle, const STNStdReport& report) {
    report_ = report;
    StdReport::WriteDEBUG(L"->->", report_, "Initialize", true);
    Open(fileHandle);
    StdReport::WriteDEBUG(L"<-<-", report_, "Initialize", true);
    return ScanFile();
}

void clWave64Handler::DefaultCreate() { CalcAllChunks(); }

void clWave64Handler::Destroy() {
    riffSize_ = 0;
    chunks_.Clear();
    Close();
    report_ = {};
}

STRIFFChunk* clWave64Handler::GetChunk(int index) {
    return index >= 0 && index < Count() ? &chunks_[index] : nullptr;
}

int clWave64Handler::IndexOfChunk(std::string_view fourcc) const {
    const GUID guid = ConvertToGUID(RIFFChnkID(fourcc));
    for (int i = 0; i < Count(); ++i) {
        if (chunks_[i].ChunkGUID == guid) return i;
    }
    return -1;
}

STRIFFChunk* clWave64Handler::FindChunkForRead(std::string_view fourcc) {
    return GetChunk(IndexOfChunk(fourcc));
}

STRIFFChunk* clWave64Handler::FindChunkForWrite(std::string_view fourcc) {
    const int index = IndexOfChunk(fourcc);
    if (index >= 0) SetChunksToWrite(index);
    return GetChunk(index);
}

void clWave64Handler::SetChunksToWrite(int first) {
    for (int i = std::max(first, 0); i < Count(); ++i) chunks_[i].WriteHeader = true;
}

void clWave64Handler::CalcAllChunks() {
    StdReport::WriteDEBUG(L"clWave64Handler::CalcAllChunks: ", report_, nullptr, false);
    riffSize_ = kOuterHeaderBytes;
    for (STRIFFChunk& chunk : chunks_) {
        chunk.ChunkPosition = riffSize_;
        chunk.FileDataPosition = SaturatingAdd(riffSize_, kChunkHeaderBytes);
        const int64_t padded = SaturatingAdd(chunk.DataSize, GetPaddingBytes(chunk.DataSize));
        riffSize_ = SaturatingAdd(chunk.FileDataPosition, padded);
    }
    StdReport::WriteDEBUG(L"Ok", report_, nullptr, true);
}

}  // namespace w64
