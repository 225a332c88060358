#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "audio/samples/NOneChannelDither.h"
#include "audio/samples/SampleMode.h"
#include "base/XObj.h"

namespace w64 {

// Reads and writes single samples of any linear layout, with all rules of rounding and clipping.
// Units:  an index counts samples, interleaved: channel k of frame f is f * channels + k. Indices are not
//         checked; the caller knows how many samples the data pointer has.
// Owner:  the memory is the caller's and must outlive its use here.
// Errors: an unknown layout has no mode: reads return 0 and writes do nothing.
class XAudioRdWr {
public:
    XAudioRdWr() = default;
    XAudioRdWr(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes, void* data,
               const wchar_t* options);
    XAudioRdWr(const tWAVEFORMATEX* format, int64_t usedBytes, int64_t totalBytes, void* data,
               const wchar_t* options);
    XAudioRdWr(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options);

    // formatTag is the effective one. Any non-empty options text selects the dithered modes at 16 and 24
    // bits; it may be null. The byte counts are not used.
    void Create(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes, void* data,
                const wchar_t* options);
    void Create(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options);

    // Create from the buffer's first sample, for the next block of a stream: as long as layout, channels and
    // options are the same, the dither noise continues instead of starting again.
    void Continue(XAudioBufferNew& buffer, const wchar_t* options);

    void SetBeginData(void* data, int64_t usedBytes, int64_t totalBytes);
    void SetBeginData_RAW(XAudioBufferNew& buffer, int64_t sample);
    void SetBeginData_DivChan(XAudioBufferNew& buffer, int64_t frame);

    // Whether samples of that width fill one of the layouts exactly. The mode does not tell: it is 32-bit
    // float for every float that has not 64 bits.
    [[nodiscard]] static bool HasLayout(int formatTag, int bits);

    // Whether writes go through a NOneChannelDither.
    bool IsDithered() const { return dithers_.Count() > 0; }

    int32_t GetInt(int64_t i) const;  // left-justified
    void PutInt(int64_t i, int32_t value);
    double GetDbl(int64_t i) const;  // -1.0 to just under 1.0; stored floats as they are
    void PutDbl(int64_t i, double value);
    int32_t GetIntRaw(int64_t i) const;  // right-justified in its own width; floats are full-scale 32 bits
    void PutIntRaw(int64_t i, int32_t value);

    // The same for `count` samples from index `first` on, in ascending order, and faster.
    void GetInts(int64_t first, int64_t count, int32_t* values) const;
    void PutInts(int64_t first, int64_t count, const int32_t* values);
    void GetDbls(int64_t first, int64_t count, double* values) const;
    void PutDbls(int64_t first, int64_t count, const double* values);

    // PutInt(i, reader.GetInt(i)) for i from 0 to count - 1. Both may start at the same address if the
    // samples here are narrower, or of the same width in another layout.
    void PutFrom(const XAudioRdWr& reader, int64_t count);

private:
    uint8_t* At(int64_t i) const;
    template <class Read>
    void PutDithered(int64_t first, int64_t count, Read read);

    uint8_t* data_ = nullptr;
    SampleMode mode_ = SampleMode::None;
    XStr options_;
    XObj<NOneChannelDither> dithers_;  // one per channel in the dithered modes
};

}  // namespace w64
