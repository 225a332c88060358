#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "base/XFile.h"
#include "base/XStr.h"
#include "interface/KvDecoder.h"
#include "mp3/MPEGStream.h"

namespace w64 {

// The object behind an instance handle: an MPEG stream as the hosts of this family see it. It is fed with
// packets (kvOpenPackets) or reads a file. Tags are neither read nor written.
// Packets: the samples of all MPEG frames that a packet completes are one block, which may be empty. The last
//          packet is marked by the end-of-stream field; one that follows all the same starts anew.
// Units:   positions and ranges are frames (one sample of every channel) of the decoded audio; a decode range
//          applies to files, and to every later Open.
// Owner:   texts handed out by Get live until the next Get, blocks until the next call.
// Errors:  reported, then 0; Close and destruction are safe in every state.
class MP3Decoder final : public KvDecoder {
public:
    explicit MP3Decoder(const STNStdReport& report) : report_(report), stream_(report) {}

    bool Open(STKvOpenDecoder& open) override;
    bool Close(STKvEncoderFluid* fluid) override;
    bool DecodeBlock(STKvAudioBlock& block) override;

    // From the start of the range. Of packets it tells where the next one, which continues none, belongs.
    bool SetPosition(int64_t frame) override;

    bool Get(const wchar_t* key, STKvCodecGetSet& record) override;
    bool Set(const wchar_t* key, const STKvCodecGetSet& record) override;
    bool DeleteATag(const wchar_t* fileName, const wchar_t* names) override;

    const STNStdReport& Report() const override { return report_; }

private:
    [[nodiscard]] bool OpenPackets();
    [[nodiscard]] bool OpenFile(const STKvOpenDecoder& open);
    void FillAudioInfo(STKvOpenDecoder& open);
    [[nodiscard]] bool DecodePacket(const STKvAudioBlock& packet);
    [[nodiscard]] bool DecodeRange(STKvAudioBlock& block);
    void HandOut(STKvAudioBlock& block);
    [[nodiscard]] bool GoTo(int64_t position);
    void TakeFormat();
    int64_t CalcmsTimeOfFrames(int64_t frames) { return audio_.CalcmsTime(audio_.SampleToBytes(frames)); }

    STNStdReport report_;
    XFile file_;
    MPEGStream stream_;
    XAudioBufferNew audio_;   // the block that was handed out
    XStr answer1_, answer2_;  // what Get hands out
    int64_t rangeStart_ = 0;
    int64_t rangeEnd_ = -1;  // to the end of the file

    bool packets_ = false;
    int64_t from_ = 0;  // the range within the open file
    int64_t to_ = 0;
    int64_t position_ = 0;  // of the next block
};

}  // namespace w64
