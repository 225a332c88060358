#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "base/XFile.h"
#include "base/XStr.h"
#include "interface/KvDecoder.h"
#include "mp3/MPEGStream.h"

namespace w64 {

// The object that an instance handle points to: an MPEG decoder for hosts of this family. It is fed with packets
// (kvOpenPackets) or reads a file. Tags are neither read nor written.
// Packets: a block holds the samples of all MPEG frames that a packet completes, and may be empty. The
//          end-of-stream field marks the last packet; a packet after it starts a new stream.
// Units:   positions and ranges are frames (one sample of every channel) of the decoded audio; a decode range
//          applies to files, and to every later Open.
// Owner:   texts returned by Get are valid until the next Get, blocks until the next call.
// Errors:  reported, then 0; Close and destruction are safe in every state.
class MP3Decoder final : public KvDecoder {
public:
    explicit MP3Decoder(const STNStdReport& report) : report_(report), stream_(report) {}

    bool Open(STKvOpenDecoder& open) override;
    bool Close(STKvEncoderFluid* fluid) override;
    bool DecodeBlock(STKvAudioBlock& block) override;

    // From the start of the range. For packets it sets the position of the next one, which starts a new stream.
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
    XAudioBufferNew audio_;   // the last block returned
    XStr answer1_, answer2_;  // texts returned by Get
    int64_t rangeStart_ = 0;
    int64_t rangeEnd_ = -1;  // to the end of the file

    bool packets_ = false;
    int64_t from_ = 0;  // the range within the open file
    int64_t to_ = 0;
    int64_t position_ = 0;  // of the next block
};

}  // namespace w64
