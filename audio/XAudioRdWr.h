#pragma once

#include "audio/NOneChannelDither.h"
#include "audio/XAudioBufferNew.h"
#include "base/XObj.h"

// How samples lie in memory and are written.
enum class SampleMode {
    Int16,
    Int24,  // packed in 3 bytes
    Int8,   // unsigned, silence at 128
    Int32,
    Float32,
    Float64,
    Dithered16,  // as Int16, written through a NOneChannelDither per channel
    Dithered24,
    None,
};

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

    void SetBeginData(void* data, int64_t usedBytes, int64_t totalBytes);
    void SetBeginData_RAW(XAudioBufferNew& buffer, int64_t sample);
    void SetBeginData_DivChan(XAudioBufferNew& buffer, int64_t frame);

    // Whether samples of that width fill one of the layouts exactly. The mode alone does not tell: every
    // float that is not 64 bits wide is read as one of 32.
    [[nodiscard]] static bool HasLayout(int formatTag, int bits);

    int32_t GetInt(int64_t i) const;  // left-justified
    void PutInt(int64_t i, int32_t value);
    double GetDbl(int64_t i) const;  // -1.0 to just under 1.0; stored floats as they are
    void PutDbl(int64_t i, double value);
    int32_t GetIntRaw(int64_t i) const;  // right-justified in its own width; floats are full-scale 32 bits
    void PutIntRaw(int64_t i, int32_t value);

    // As GetInt and PutInt of `count` samples from index `first` on, with the layout chosen once for them
    // all.
    void GetInts(int64_t first, int64_t count, int32_t* values) const;
    void PutInts(int64_t first, int64_t count, const int32_t* values);

private:
    bool IsDithered() const { return dithers_.Count() > 0; }
    int32_t Dithered(int64_t i, int32_t value) const;

    uint8_t* data_ = nullptr;
    SampleMode mode_ = SampleMode::None;
    XObj<NOneChannelDither> dithers_;  // one per channel in the dithered modes
};
