#pragma once

#include "audio/format/WaveFormat.h"
#include "base/XFile.h"
#include "base/XObj.h"
#include "base/XStr.h"
#include "interface/w64_decoder.h"
#include "wave64/container/ChunkCodes.h"
#include "wave64/container/EditRules.h"
#include "wave64/container/STRIFFChunk.h"
#include "wave64/container/clPassRIFFChunks.h"

namespace w64 {

// A Wave64 file: 40 bytes of outer header, then chunks, each a 24-byte header, data, and zero bytes up to the
// next multiple of 8. The handler keeps one record per chunk, in file order, and reads or writes a file
// that its caller opens and closes.
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

    // Attaches to an open, empty file and writes everything up to the start of the audio, where the file
    // position is left. The caller then appends the audio, sets the "data" record's DataSize, and calls
    // WriteChunksAfterData and WriteChunkHeaders(false). `format` is a record of 18 bytes plus its extra bytes;
    // the "fmt " chunk gets 16 of them for PCM. convertExtensible 1 writes an extensible record in its plain
    // form if it has one.
    [[nodiscard]] bool InitializeNewWAV(void* fileHandle, const tWAVEFORMATEX* format,
                                        const STNStdReport& report, const clPassRIFFChunks& passChunks,
                                        int convertExtensible);

    void DefaultCreate();
    void Destroy();

    // Call it before anything else. The exact rules, the default, cut size fields to 32 bits, ignore the padding
    // of an edited chunk, and do not see an empty chunk at the end of the file; the safe rules write full size
    // fields, count the padding, and see that chunk.
    void SetRules(const EditRules& rules) { rules_ = rules; }

    int Count() const { return chunks_.Count(); }
    STRIFFChunk* GetChunk(int index);  // null outside the list
    STRIFFChunk& operator[](int index) { return chunks_[index]; }
    int64_t RiffSize() const { return riffSize_; }  // length of the whole file by its chunks

    // Why the scanned layout cannot be edited safely, in words; empty if every byte of the file belongs to a chunk
    // and every size is right.
    const XStr& LayoutFault() const { return layoutFault_; }

    // True if the scan stopped early, as LayoutFault says: the file may hold chunks that are not listed, and any
    // edit would cut them off.
    bool IsScanLimited() const { return isScanLimited_; }

    int IndexOfChunk(std::string_view fourcc) const;  // the first one, else -1
    int IndexOfDataChunk() const { return IndexOfChunk("data"); }
    STRIFFChunk* FindChunkForRead(std::string_view fourcc);   // null when there is none
    STRIFFChunk* FindChunkForWrite(std::string_view fourcc);  // marks it and all later headers for writing
    void SetChunksToWrite(int first);
    bool IsPadding(int index);  // "JUNK" or "PAD "; false outside the list

    // A new record before `position`, -1 for the end. The data is copied when given. Throws std::bad_alloc.
    void AddChunk(std::string_view fourcc, uint32_t dataSize, const void* data, int position);

    // Computes positions and the file's length from the records' sizes, without gaps.
    void CalcAllChunks();

    // Writes the headers marked for writing, then the outer header, and truncates the file after the last chunk.
    // With stopAtData it stops after the header of the "data" chunk.
    [[nodiscard]] bool WriteChunkHeaders(bool stopAtData);
    [[nodiscard]] bool WriteChunkData(const STRIFFChunk& chunk, const void* data, size_t size);
    [[nodiscard]] bool WriteChunksAfterData();  // once the "data" record has its size

    // Editing a scanned file. `chunk` is a whole chunk of `size` bytes: a header of 24 bytes, from which only the
    // leading four-character code is read, then the data. Padding chunks are "JUNK" (mode 0) or "PAD " (mode 1);
    // mode 2 makes none. paddingSize is the size of a fresh padding chunk in bytes, header included: 0 means
    // 2048, and the minimum is 256.
    // An index of -1 appends. A chunk smaller than its header does nothing and succeeds.
    [[nodiscard]] bool InsertNewChunkIntoFile(int index, const void* chunk, uint32_t size, int paddingMode,
                                              int paddingSize);
    // No chunk, or a size of 0, removes the old one.
    [[nodiscard]] bool ResizeExistingChunkOnFile(int index, const void* chunk, uint32_t size, int paddingMode,
                                                 int paddingSize);
    [[nodiscard]] bool RemoveChunkFromFile(int index, int paddingMode);
    // Writes the chunk at the position of its record, or of a new record inserted before `index`.
    [[nodiscard]] bool WriteThisCompleteChunk(int index, const void* chunk, uint32_t size, bool asNew);

private:
    [[nodiscard]] bool ScanFile();
    class HeaderWindow;
    [[nodiscard]] bool ScanOuterHeader(HeaderWindow& window, int64_t fileSize);
    void WalkChunks(HeaderWindow& window, int64_t fileSize);
    void CheckComputedSize(int64_t fileSize);
    XStr FaultOfLength(int64_t outerSize, int64_t fileSize) const;

    void ListNewChunks(const tWAVEFORMATEX& format, const clPassRIFFChunks& passChunks);
    [[nodiscard]] bool WriteChunksUpToData();
    [[nodiscard]] bool WriteChunkHeader(STRIFFChunk& chunk);
    [[nodiscard]] bool WriteOuterHeader(uint64_t sizeField);
    static bool HoldsItsData(const STRIFFChunk& chunk);
    uint64_t SizeField(int64_t bytes) const;

    [[nodiscard]] bool TakeRoom(int64_t end);
    [[nodiscard]] bool CutForLastChunk(int64_t position);
    [[nodiscard]] bool WriteFreshPadding(int index, int mode, int64_t bytes);
    [[nodiscard]] bool WriteHeadersFrom(int index);
    [[nodiscard]] bool CutToRiffSize();
    bool HasDataAfter(int index) const;
    int64_t Room(const STRIFFChunk& chunk) const;
    int64_t Slack(const STRIFFChunk& padding) const;

    int64_t riffSize_ = 0;
    EditRules rules_;
    XStr layoutFault_;
    bool isScanLimited_ = false;
    XObj<STRIFFChunk> chunks_;
    STNStdReport report_;
};

}  // namespace w64
