#pragma once

#include "audio/WaveFormat.h"
#include "base/XMem.h"
#include "base/XStr.h"

// One WAVE format record and the arithmetic that follows from it.
// Units:  a sample is one channel's value, a frame is one sample of every channel (interleaved, channel k of
//         frame f at f * Channels() + k). *_RAW counts samples, *_DivChan frames; times are milliseconds.
//         Products stop at the ends of the 64-bit range.
// Owner:  the object owns 18 + cbSize bytes of record, so an extensible one at least 40. Pointers into it
//         live until the next Assign.
// Errors: none reported. A divisor that is 0 in the record becomes 1 there before it is used, and nothing
//         else changes with it, which is why the size and time arithmetic is not const. Without memory for extra bytes Assign throws
//         std::bad_alloc and the record stays as it was.
class XAudioWFX {
public:
    XAudioWFX();  // all zero, repaired as by every Assign
    XAudioWFX(int channels, int samplesPerSec, int bitsPerSample);
    XAudioWFX(void* data, unsigned int size);
    explicit XAudioWFX(const tWAVEFORMATEX* record);
    explicit XAudioWFX(const WAVEFORMATEXTENSIBLE* record);
    explicit XAudioWFX(const WAVEFORMAT* record);
    XAudioWFX(const XAudioWFX& other);
    XAudioWFX& operator=(const XAudioWFX& other);
    ~XAudioWFX() = default;

    // A PCM record with the derived fields computed.
    void Assign(int channels, int samplesPerSec, int bitsPerSample);

    // A record of 18 + cbSize readable bytes at any alignment. For PCM and float the derived fields are
    // computed whatever the record says; otherwise a 0 in them becomes 1.
    void Assign(const tWAVEFORMATEX* record);

    // A record of `size` bytes: 14 and 16 are the two old short forms; from 18 on it carries its own cbSize,
    // which is set to 0 in the caller's bytes when it claims more than there are. Less than 14 bytes, or
    // none, give the all-zero record.
    void Assign(void* data, unsigned int size);
    void Assign(const XAudioWFX& other);

    const tWAVEFORMATEX* wfx() const;
    tWAVEFORMATEX* pwfx();
    operator const tWAVEFORMATEX*() const { return wfx(); }
    operator tWAVEFORMATEX*() { return pwfx(); }

    // Only for an extensible record; any other may be shorter than the type.
    const WAVEFORMATEXTENSIBLE* wfxex() const;
    WAVEFORMATEXTENSIBLE* pwfxex();

    int FormatTag() const { return wfx()->wFormatTag; }
    int WFXFormatTag() const;  // for an extensible record the tag that its sub-format stands for, if known
    int Channels() const { return wfx()->nChannels; }
    uint32_t SamplesPerSec() const { return wfx()->nSamplesPerSec; }
    uint32_t AvgBytesPerSec() const { return wfx()->nAvgBytesPerSec; }
    int BlockAlign() const { return wfx()->nBlockAlign; }
    int BitsPerSample() const { return wfx()->wBitsPerSample; }
    int BytesPerSample() const { return BitsPerSample() / 8; }
    const uint8_t* GetExtraData() const;  // cbSize bytes, null when there are none
    bool IsExtensible() const;
    bool IsExtensibleGUID(const GUID* subFormat) const;

    // Values are cut to the width of their field. With `recalc` the derived fields follow at once.
    void SetFormatTag(int tag);     // the raw field alone
    void SetWFXFormatTag(int tag);  // the sub-format of an extensible record; MPEG has none to set there
    void SetChannels(int channels, bool recalc);
    void SetSamplesPerSec(int samplesPerSec, bool recalc);
    void SetBitsPerSample(int bits, bool recalc);
    void SetAvgBytesPerSec(int bytes);
    void SetBlockAlign(int bytes);
    void CalcAvgNBlkAlign();
    void RemoveAnyExtra();  // leaves what the extensible form itself needs

    // Whether the record was converted; to the extensible form also when it had it already. Extra bytes of a
    // plain record, and mask and valid bits of an extensible one, are dropped on the way.
    bool ConvertWFXToExtensible();
    bool ConvertExtensibleToWFX();

    int64_t CalcmsTime(int64_t bytes);
    int64_t CalcBufferSize(int64_t milliseconds);  // whole blocks
    int64_t BlockAlignBuffer(int64_t bytes);       // rounded down: 70001 at 4 bytes a block gives 70000
    int ChannelAlignSamples(int samples);
    int64_t SamplesToBytes_RAW(int64_t samples) const;
    int64_t BytesToSamples_RAW(int64_t bytes) const;
    int64_t SamplesToBytes_DivChan(int64_t frames) const;
    int64_t BytesToSamples_DivChan(int64_t bytes);

    // One line of labelled decimal numbers.
    XStr WFXToString() const;

private:
    void AssignShortForm(const void* data, unsigned int size);
    void CompleteDerivedFields();

    XMem block_;             // the record when it has extra bytes
    tWAVEFORMATEX plain_{};  // the record when it has none
    bool inBlock_ = false;
};
