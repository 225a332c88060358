#pragma once

#include "audio/format/WaveFormat.h"
#include "base/XMem.h"
#include "base/XStr.h"

namespace w64 {

// One WAVE format record and the arithmetic that follows from it.
// Units:  a sample is one channel's value, a frame is one sample of every channel (interleaved, channel k of
//         frame f at f * Channels() + k). *_RAW counts samples, *_DivChan frames; times are milliseconds.
//         Products saturate at the limits of the 64-bit range.
// Owner:  the object owns 18 + cbSize bytes of record, so at least 40 of an extensible one. Pointers into it
//         are valid until the next Assign.
// Errors: none reported. A zero divisor in the record is set to 1 there before use, and nothing else changes, so
//         the size and time arithmetic is not const. If there is no memory for the extra bytes, Assign throws
//         std::bad_alloc and the record stays as it was.
class XAudioWFX {
public:
    XAudioWFX();  // all zero, zero divisors set to 1
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
    // computed, whatever the record has; for other tags a 0 in them becomes 1.
    void Assign(const tWAVEFORMATEX* record);

    // A record of `size` bytes: 14 and 16 are the two short forms; from 18 on it has its own cbSize, which is
    // set to 0 in the caller's bytes if it claims more than there are. Fewer than 14 bytes, or null, give the
    // all-zero record.
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
    int WFXFormatTag() const;  // of an extensible record the tag of its sub-format, if known
    int Channels() const { return wfx()->nChannels; }
    uint32_t SamplesPerSec() const { return wfx()->nSamplesPerSec; }
    uint32_t AvgBytesPerSec() const { return wfx()->nAvgBytesPerSec; }
    int BlockAlign() const { return wfx()->nBlockAlign; }
    int BitsPerSample() const { return wfx()->wBitsPerSample; }
    int BytesPerSample() const { return BitsPerSample() / 8; }
    const uint8_t* GetExtraData() const;  // cbSize bytes, null when there are none
    bool IsExtensible() const;
    bool IsExtensibleGUID(const GUID* subFormat) const;

    // Values are truncated to the width of their field. With `recalc` the derived fields are recomputed.
    void SetFormatTag(int tag);     // the raw field only
    void SetWFXFormatTag(int tag);  // the sub-format of an extensible record; MPEG has none to set there
    void SetChannels(int channels, bool recalc);
    void SetSamplesPerSec(int samplesPerSec, bool recalc);
    void SetBitsPerSample(int bits, bool recalc);
    void SetAvgBytesPerSec(int bytes);
    void SetBlockAlign(int bytes);
    void CalcAvgNBlkAlign();
    void RemoveAnyExtra();  // keeps the 22 bytes of the extensible form

    // Whether the record was converted; ConvertWFXToExtensible also returns true for an extensible record.
    // Extra bytes of a plain record, and mask and valid bits of an extensible one, are dropped.
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

}  // namespace w64
