#pragma once

#include "base/XFile.h"
#include "base/XStr.h"
#include "interface/KvDecoder.h"
#include "wave64/engine/clWaveDecoder.h"

namespace w64 {

// The object that an instance handle points to: answers a host's calls with one engine and its file.
// Units:  the decode range counts frames from the start of the audio data; it applies to every later Open.
// Owner:  texts returned by Get are valid until the next Get, blocks until the next call.
// Errors: reported, then 0; Close and destruction are safe in every state.
class clDecoder final : public KvDecoder {
public:
    explicit clDecoder(const STNStdReport& report) : engine_(report), report_(report) {}

    bool Open(STKvOpenDecoder& open) override;
    bool Close(STKvEncoderFluid* fluid) override;
    bool DecodeBlock(STKvAudioBlock& block) override { return engine_.DecodeBlock(block); }
    bool SetPosition(int64_t frame) override;
    bool Get(const wchar_t* key, STKvCodecGetSet& record) override;
    bool Set(const wchar_t* key, const STKvCodecGetSet& record) override;
    bool DeleteATag(const wchar_t* fileName, const wchar_t* names) override;

    const STNStdReport& Report() const override { return report_; }

private:
    void ReadTagsAndProperties(STKvOpenDecoder& open);
    bool GetTagOption(STKvCodecGetSet& record);

    XFile file_;
    clWaveDecoder engine_;
    XStr answer1_, answer2_, answer3_;  // texts returned by Get
    STNStdReport report_;
    int64_t rangeStart_ = 0;
    int64_t rangeEnd_ = -1;  // to the end of the data
};

}  // namespace w64
