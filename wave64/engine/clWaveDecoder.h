#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "audio/format/XAudioWFX.h"
#include "audio/samples/XAudioACMDecoder.h"
#include "base/XFile.h"
#include "base/XMem.h"
#include "base/XStrList.h"
#include "interface/w64_decoder.h"
#include "tags/NTag.h"
#include "tags/TagWriter.h"
#include "wave64/container/clWave64Handler.h"
#include "wave64/engine/clKvDecoder.h"

namespace w64 {

// Decodes one Wave64 file: its format and data chunks, the decode range, and the audio block by block. PCM and
// float are delivered as stored; MPEG audio goes through a sub-decoder plug-in, "mp3.dll" in the folder of the
// running program; everything else is refused.
// Units:  frames are blocks of the stored format (sample frames for PCM), counted from the start of the audio
//         data for a range and from the start of the range for SetPosition; offsets are absolute bytes.
// Owner:  the file is the caller's and stays open while the engine uses it. Blocks handed out are the
//         engine's, valid until the next call.
// Errors: reported once through the report, then false; the engine stays usable.
// The format of the first file stays in force for the engine's lifetime: use one engine per file.
class clWaveDecoder {
public:
    explicit clWaveDecoder(const STNStdReport& report) : report_(report) {}

    // Reads the chunk list. A range end of -1 means the end of the last whole block; one beyond the data means the
    // end of the data, which for packets may be within a block.
    [[nodiscard]] bool Initialize(void* fileHandle, const STNStdReport& report, int64_t rangeStart,
                                  int64_t rangeEnd);
    void Close(STKvEncoderFluid* fluid);

    // The format record and the positions of the audio; reads once.
    [[nodiscard]] bool PullOutFMTnDATA();
    [[nodiscard]] bool FillAudioInfo(STKvAudioInfo& info);

    // Prepares to decode from the start of the range; `info` gets the format that will be delivered.
    [[nodiscard]] bool PrepareToDecodeAudio(STKvAudioInfo& info);

    // The next block. The last one that carries data already says end of stream; a further call says it again
    // and leaves the data fields as they were.
    [[nodiscard]] bool DecodeBlock(STKvAudioBlock& block);

    // A position beyond the range means its end; one before its start is taken as it is.
    [[nodiscard]] bool SetPosition(int64_t frame);

    // The tags of the open file and its other chunks, packed; null when it has no readable format. The block
    // is the engine's until the next call. Appends the names of the tag formats found to `chunkNames`.
    const XMem* ReadIDTags(XStr& chunkNames);

    // The property report, a text for each section, packed; null when the file has no readable format. The block
    // is the engine's until the next call. `tagDescription` is the text of chunkNames from ReadIDTags.
    const XMem* FillAudioProps(const XStr& tagDescription);
    XStr GetAudioQuality() const;
    XStr GetChannelString() const;  // the loudspeakers; empty if the channels assign none

    // These open a file by name, independently of the open one. The first takes a packed block; the second
    // deletes every tag of the given names, or all tags.
    [[nodiscard]] static bool WriteIDTags(const wchar_t* fileName, const void* block, int size,
                                          const STNStdReport& report);
    [[nodiscard]] static bool DeleteTags(const wchar_t* fileName, const XStrList& names, bool deleteAll,
                                         const STNStdReport& report);

    int64_t CalcDecodeFrom();
    int64_t CalcDecodeTo();
    int64_t CalcStreamLengthBytes();
    int64_t CalcStreamLengthmS();
    XStr GetACMFormat() const;  // the stored format in words

private:
    [[nodiscard]] static bool InternalReadTags(XFile& file, clWave64Handler& handler, NTag& tags,
                                               int& listIndex, const STNStdReport& report);
    [[nodiscard]] static bool IDTagWriter(const wchar_t* fileName, TagEdit edit, NTag& tags,
                                          const STNStdReport& report);
    XStr WaveHeaderName() const;
    int64_t SampleCount();
    XStr ChunkListText();
    [[nodiscard]] bool ReadFormatChunk(const STRIFFChunk& chunk);
    void ReadFactChunk();
    void DeriveOutputFormat();
    int64_t OffsetOfFrame(int64_t origin, int64_t frame);
    int64_t ClampToData(int64_t offset) const;
    int64_t WholeFrames(int64_t bytes);
    uint32_t BitRate() const;

    [[nodiscard]] bool PrepareStored();
    [[nodiscard]] bool LoadExternalDecoder();
    [[nodiscard]] bool InitializeExternalDecoder();
    [[nodiscard]] bool GoToOffset(int64_t offset, const char* functionName);
    [[nodiscard]] bool ReadDataBlock();
    [[nodiscard]] bool DecodeStoredData();
    [[nodiscard]] bool ExternalDecodeData();
    void HandOut(STKvAudioBlock& block);
    void SetOutputFormat(const XAudioWFX& format);
    void ForgetPendingOutput();
    bool HasPendingOutput() const { return pendingData_ && pendingSize_; }

    STNStdReport report_;
    XFile file_;
    clWave64Handler chunks_;

    XMem fmt_;                  // the whole 'fmt ' body; empty until it has been read
    XAudioWFX stored_;          // as the file has it
    XAudioWFX output_;          // as it is delivered
    uint32_t factSamples_ = 0;  // 0: not known
    int64_t rangeStart_ = 0;
    int64_t rangeEnd_ = -1;
    int64_t dataStart_ = 0;
    int64_t dataEnd_ = 0;

    XMem tagBlock_;
    XMem properties_;

    XAudioBufferNew input_;
    XAudioACMDecoder decoder_;
    bool external_ = false;  // the sub-decoder is in use
    clKvDecoder subDecoder_;
    void* pendingData_ = nullptr;  // decoded, not yet handed out; lies in decoder_ or the sub-decoder
    uint32_t pendingSize_ = 0;
    int64_t currentOffset_ = 0;  // of the next byte to read
    int64_t bytesLeft_ = 0;      // no part of a frame is ever read
};

}  // namespace w64
