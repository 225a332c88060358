#pragma once

#include "audio/NOneChannelDither.h"
#include "audio/SampleMode.h"
#include "audio/XAudioBufferNew.h"
#include "base/XObj.h"

// Reads and writes single samples of any linear layout, with all rounding and clipping rules.
// Units:  an index counts samples, interleaved: channel k of frame f is f * channels + k. Indices are not
//         checked; the caller knows how many samples lie behind the data pointer.
// Owner:  the memory is somebody else's and has to outlive its use here.
// Errors: a layout that is not known has no mode: reads give 0 and writes do nothing.
class XAudioRdWr {
public:
    XAudioRdWr() = default;
    XAudioRdWr(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes, void* data,
               const wchar_t* options);
    XAudioRdWr(const tWAVEFORMATEX* format, int64_t usedBytes, int64_t totalBytes, void* data,
               const wchar_t* options);
    XAudioRdWr(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options);

    // formatTag is the effective one. Any non-empty options text selects the dithered modes at 16 and 24
    // bits; it may be null. The byte counts describe the memory and are not needed.
    void Create(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes, void* data,
                const wchar_t* options);
    void Create(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options);

    // As Create from the buffer's first sample, for the next part of the same stream: while layout, channels
    // and options stay as they were, noise goes on where it was instead of beginning again.
    void Continue(XAudioBufferNew& buffer, const wchar_t* options);

    void SetBeginData(void* data, int64_t usedBytes, int64_t totalBytes);
    void SetBeginData_RAW(XAudioBufferNew& buffer, int64_t sample);
    void SetBeginData_DivChan(XAudioBufferNew& buffer, int64_t frame);

    // Whether samples of that width fill one of the layouts exactly. The mode alone does not tell: every
    // float that is not 64 bits wide is read as one of 32.
    [[nodiscard]] static bool HasLayout(int formatTag, int bits);

    // Whether the samples that are put are more than rounded.
    bool IsDithered() const { return dithers_.Count() > 0; }

    int32_t GetInt(int64_t i) const;  // left-justified
    void PutInt(int64_t i, int32_t value);
    double GetDbl(int64_t i) const;  // -1.0 to just under 1.0; stored floats as they are
    void PutDbl(int64_t i, double value);
    int32_t GetIntRaw(int64_t i) const;  // right-justified in its own width; floats are full-scale 32 bits
    void PutIntRaw(int64_t i, int32_t value);

    // As the forms for one sample, for `count` of them from index `first` on, in ascending order and quicker.
    void GetInts(int64_t first, int64_t count, int32_t* values) const;
    void PutInts(int64_t first, int64_t count, const int32_t* values);
    void GetDbls(int64_t first, int64_t count, double* values) const;
    void PutDbls(int64_t first, int64_t count, const double* values);

    // PutInt(i, reader.GetInt(i)) for i from 0 to count - 1. Both may begin at the same place when the samples
    // here are narrower, or as wide in another layout.
    void PutFrom(const XAudioRdWr& reader, int64_t count);

private:
    uint8_t* At(int64_t i) const;

    uint8_t* data_ = nullptr;
    SampleMode mode_ = SampleMode::None;
    XStr options_;
    XObj<NOneChannelDither> dithers_;  // one per channel in the dithered modes
};
