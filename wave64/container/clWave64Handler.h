#pragma once

#include "audio/WaveFormat.h"
#include "base/XFile.h"
#include "base/XObj.h"
#include "plugin/interface/STNStdReport.h"
#include "wave64/container/ChunkCodes.h"
#include "wave64/container/STRIFFChunk.h"
#include "wave64/container/clPassRIFFChunks.h"

// A Wave64 file: 40 bytes of outer header, then chunks, each a 24-byte header, data, and zero bytes up to the
// next multiple of 8. The handler keeps one record per chunk, in file order, and reads or writes through a
// file that somebody else has opened and will close.
// Units:  sizes and positions are bytes.
// Errors: reported once through the report, then false; nothing is rolled back.
class clWave64Handler : public XFile {
public:
    static constexpr uint32_t RiffID = 0x46464952;    // "RIFF"
    static constexpr uint32_t FormType = 0x45564157;  // "WAVE"

    clWave64Handler() = default;
    ~clWave64Handler() { Destroy(); }

    // Attaches to an open file and scans it.
    [[nodiscard]] bool Initialize(void* fileHandle, const STNStdReport& report);

    // Attaches to an open, empty file and writes everything up to the start of the audio, where the file is
    // left. Then: append the audio, set the "data" record's DataSize, WriteChunksAfterData,
    // WriteChunkHeaders(false). `format` is a record of 18 bytes plus its extra bytes; the "fmt " chunk
    // gets 16 of them for PCM. convertExtensible 1 writes an extensible record in its plain form, where
    // there is one.
    [[nodiscard]] bool InitializeNewWAV(void* fileHandle, const tWAVEFORMATEX* format,
                                        const STNStdReport& report, const clPassRIFFChunks& passChunks,
                                        int convertExtensible);

    void DefaultCreate();
    void Destroy();

    // Size fields are cut to 32 bits by design; whoever makes a file past 4 GiB asks for them in full.
    void WriteFullSizeFields(bool full) { fullSizeFields_ = full; }

    int Count() const { return chunks_.Count(); }
    STRIFFChunk* GetChunk(int index);  // null outside the list
    STRIFFChunk& operator[](int index) { return chunks_[index]; }
    int64_t RiffSize() const { return riffSize_; }  // length of the whole file by its chunks

    int IndexOfChunk(std::string_view fourcc) const;  // the first one, else -1
    int IndexOfDataChunk() const { return IndexOfChunk("data"); }
    STRIFFChunk* FindChunkForRead(std::string_view fourcc);   // null when there is none
    STRIFFChunk* FindChunkForWrite(std::string_view fourcc);  // marks it and all later headers for writing
    void SetChunksToWrite(int first);

    // A new record before `position`, -1 for the end. The data is copied when given. Throws std::bad_alloc.
    void AddChunk(std::string_view fourcc, uint32_t dataSize, const void* data, int position);

    // Positions and the file's length from the records' sizes alone, packed without gaps.
    void CalcAllChunks();

    // Writes the headers marked for it, then the outer header, and cuts what lies behind the last chunk.
    // With stopAtData it ends after the header of the "data" chunk.
    [[nodiscard]] bool WriteChunkHeaders(bool stopAtData);
    [[nodiscard]] bool WriteChunkData(const STRIFFChunk& chunk, const void* data, size_t size);
    [[nodiscard]] bool WriteChunksAfterData();  // once the "data" record has its size

private:
    [[nodiscard]] bool ScanFile();
    [[nodiscard]] bool ScanOuterHeader(int64_t fileSize);
    void WalkChunks(int64_t fileSize);
    void CheckComputedSize();

    void ListNewChunks(const tWAVEFORMATEX& format, const clPassRIFFChunks& passChunks);
    [[nodiscard]] bool WriteChunksUpToData();
    [[nodiscard]] bool WriteChunkHeader(STRIFFChunk& chunk);
    [[nodiscard]] bool WriteOuterHeader(uint64_t sizeField);
    static bool HoldsItsData(const STRIFFChunk& chunk);
    uint64_t SizeField(int64_t bytes) const;
    bool Fail(std::wstring_view message, const char* functionName);

    int64_t riffSize_ = 0;
    bool fullSizeFields_ = false;
    XObj<STRIFFChunk> chunks_;
    STNStdReport report_;
};
