#include "audio/XAudioRdWr.h"

#include "audio/XAudioSampleAccess.h"

#include <algorithm>

namespace {

SampleMode ModeOf(int formatTag, int bits, bool dithered) {
    if (formatTag == kTagFloat) return bits == 64 ? SampleMode::Float64 : SampleMode::Float32;
    switch (bits) {
    case 8:
        return SampleMode::Int8;
    case 16:
        return dithered ? SampleMode::Dithered16 : SampleMode::Int16;
    case 24:
        return dithered ? SampleMode::Dithered24 : SampleMode::Int24;
    case 32:
        return SampleMode::Int32;
    default:
        return SampleMode::None;
    }
}

// Runs the action on the layout of a mode; without one the result is 0 and nothing runs.
template <class Action>
auto WithLayout(SampleMode mode, Action action) {
    switch (mode) {
    case SampleMode::Int16:
    case SampleMode::Dithered16:
        return action(Samples16());
    case SampleMode::Int24:
    case SampleMode::Dithered24:
        return action(Samples24());
    case SampleMode::Int8:
        return action(Samples8());
    case SampleMode::Int32:
        return action(Samples32());
    case SampleMode::Float32:
        return action(SamplesFlt());
    case SampleMode::Float64:
        return action(SamplesDBL());
    case SampleMode::None:
        break;
    }
    return decltype(action(Samples16()))();
}

template <class Layout>
void GetIntLoop(Layout layout, const uint8_t* data, int64_t count, int32_t* values) {
    for (int64_t i = 0; i < count; ++i) values[i] = layout.GetInt(data, i);
}

template <class Layout>
void PutIntLoop(Layout layout, uint8_t* data, int64_t count, const int32_t* values) {
    for (int64_t i = 0; i < count; ++i) layout.PutInt(data, i, values[i]);
}

// Moving four bytes is quicker than putting three together. The fourth is the next sample's: shifted out on
// reading, overwritten on writing. The last sample has no next one.
void GetIntLoop(Samples24 layout, const uint8_t* data, int64_t count, int32_t* values) {
    for (int64_t i = 0; i < count - 1; ++i) values[i] = Load<int32_t>(data + 3 * i) << 8;
    if (count > 0) values[count - 1] = layout.GetInt(data, count - 1);
}

void PutIntLoop(Samples24 layout, uint8_t* data, int64_t count, const int32_t* values) {
    for (int64_t i = 0; i < count - 1; ++i) Store(data + 3 * i, values[i] >> 8);
    if (count > 0) layout.PutInt(data, count - 1, values[count - 1]);
}

}  // namespace

XAudioRdWr::XAudioRdWr(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes,
                       void* data, const wchar_t* options) {
    Create(formatTag, bits, channels, usedBytes, totalBytes, data, options);
}

XAudioRdWr::XAudioRdWr(const tWAVEFORMATEX* format, int64_t usedBytes, int64_t totalBytes, void* data,
                       const wchar_t* options) {
    const XAudioWFX wfx(format);
    Create(wfx.WFXFormatTag(), wfx.BitsPerSample(), wfx.Channels(), usedBytes, totalBytes, data, options);
}

XAudioRdWr::XAudioRdWr(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options) {
    Create(buffer, firstSample, options);
}

void XAudioRdWr::Create(int formatTag, int bits, int channels, int64_t usedBytes, int64_t totalBytes,
                        void* data, const wchar_t* options) {
    const bool dithered = options && *options;
    mode_ = ModeOf(formatTag, bits, dithered && channels > 0);
    dithers_.Clear();
    if (mode_ == SampleMode::Dithered16 || mode_ == SampleMode::Dithered24) {
        NOneChannelDither dither;
        dither.Create(bits, options);
        for (int channel = 0; channel < channels; ++channel) dithers_.Append(dither);
    }
    SetBeginData(data, usedBytes, totalBytes);
}

void XAudioRdWr::Create(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options) {
    Create(buffer.WFXFormatTag(), buffer.BitsPerSample(), buffer.Channels(), buffer.GetUsedByte(),
           buffer.TotalBytes(), buffer.BufferStart(), options);
    SetBeginData_RAW(buffer, firstSample);
}

void XAudioRdWr::SetBeginData(void* data, int64_t /*usedBytes*/, int64_t /*totalBytes*/) {
    data_ = static_cast<uint8_t*>(data);
}

void XAudioRdWr::SetBeginData_RAW(XAudioBufferNew& buffer, int64_t sample) {
    data_ = buffer.BufferStart() + buffer.SamplesToBytes_RAW(sample);
}

void XAudioRdWr::SetBeginData_DivChan(XAudioBufferNew& buffer, int64_t frame) {
    data_ = buffer.BufferStart() + buffer.SamplesToBytes_DivChan(frame);
}

bool XAudioRdWr::HasLayout(int formatTag, int bits) {
    const int layoutBits =
        WithLayout(ModeOf(formatTag, bits, false), [](auto layout) { return layout.kBits; });
    return layoutBits != 0 && layoutBits == bits;
}

int32_t XAudioRdWr::Dithered(int64_t i, int32_t value) const {
    return dithers_[static_cast<int>(i % dithers_.Count())].Dither(value);
}

int32_t XAudioRdWr::GetInt(int64_t i) const {
    return WithLayout(mode_, [&](auto layout) { return layout.GetInt(data_, i); });
}

void XAudioRdWr::PutInt(int64_t i, int32_t value) {
    if (IsDithered()) return PutIntRaw(i, Dithered(i, value));
    WithLayout(mode_, [&](auto layout) { layout.PutInt(data_, i, value); });
}

double XAudioRdWr::GetDbl(int64_t i) const {
    return WithLayout(mode_, [&](auto layout) { return layout.GetDbl(data_, i); });
}

void XAudioRdWr::PutDbl(int64_t i, double value) {
    if (IsDithered()) return PutInt(i, _DBLRndNClip(value, 2147483648.0, 2147483648.0));
    WithLayout(mode_, [&](auto layout) { layout.PutDbl(data_, i, value); });
}

int32_t XAudioRdWr::GetIntRaw(int64_t i) const {
    return WithLayout(mode_, [&](auto layout) { return layout.GetIntRaw(data_, i); });
}

void XAudioRdWr::PutIntRaw(int64_t i, int32_t value) {
    WithLayout(mode_, [&](auto layout) { layout.PutIntRaw(data_, i, value); });
}

void XAudioRdWr::GetInts(int64_t first, int64_t count, int32_t* values) const {
    if (mode_ == SampleMode::None) std::fill_n(values, count, 0);
    WithLayout(mode_,
               [&](auto layout) { GetIntLoop(layout, data_ + first * layout.kBits / 8, count, values); });
}

void XAudioRdWr::PutInts(int64_t first, int64_t count, const int32_t* values) {
    if (IsDithered()) {
        for (int64_t i = 0; i < count; ++i) PutInt(first + i, values[i]);
        return;
    }
    WithLayout(mode_,
               [&](auto layout) { PutIntLoop(layout, data_ + first * layout.kBits / 8, count, values); });
}
