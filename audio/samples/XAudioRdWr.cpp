#include "audio/samples/XAudioRdWr.h"

#include "audio/samples/SampleKernels.h"

#include <algorithm>
#include <array>

namespace w64 {

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
    options_ = options ? options : L"";
    mode_ = ModeOf(formatTag, bits, !options_.empty() && channels > 0);
    dithers_.Clear();
    if (mode_ == SampleMode::Dithered16 || mode_ == SampleMode::Dithered24) {
        for (int channel = 0; channel < channels; ++channel) {
            dithers_.Append().Create(bits, options, static_cast<uint64_t>(channel));
        }
    }
    SetBeginData(data, usedBytes, totalBytes);
}

void XAudioRdWr::Create(XAudioBufferNew& buffer, int64_t firstSample, const wchar_t* options) {
    Create(buffer.WFXFormatTag(), buffer.BitsPerSample(), buffer.Channels(), buffer.GetUsedByte(),
           buffer.TotalBytes(), buffer.BufferStart(), options);
    SetBeginData_RAW(buffer, firstSample);
}

void XAudioRdWr::Continue(XAudioBufferNew& buffer, const wchar_t* options) {
    const SampleMode mode = ModeOf(buffer.WFXFormatTag(), buffer.BitsPerSample(), true);
    const bool goesOn = IsDithered() && mode == mode_ && dithers_.Count() == buffer.Channels() && options &&
                        options == options_;
    if (!goesOn) return Create(buffer, 0, options);
    SetBeginData_RAW(buffer, 0);
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

uint8_t* XAudioRdWr::At(int64_t i) const {
    return data_ + WithLayout(mode_, [i](auto layout) { return i * layout.kBits / 8; });
}

int32_t XAudioRdWr::GetInt(int64_t i) const {
    return WithLayout(mode_, [&](auto layout) { return layout.GetInt(data_, i); });
}

void XAudioRdWr::PutInt(int64_t i, int32_t value) {
    if (IsDithered()) {
        NOneChannelDither& dither = dithers_[static_cast<int>(i % dithers_.Count())];
        return PutIntRaw(i, dither.Dither(value));
    }
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
    FastestKernels().convert(mode_, At(first), SampleMode::Int32, reinterpret_cast<uint8_t*>(values), count);
}

// `read` fills a block with 32-bit samples, of which the first is number i of `count`.
template <class Read>
void XAudioRdWr::PutDithered(int64_t first, int64_t count, Read read) {
    constexpr int64_t kBlock = 1024;
    std::array<int32_t, kBlock> block;
    const int64_t channels = dithers_.Count();
    for (int64_t done = 0; done < count; done += kBlock) {
        const int64_t some = std::min(count - done, kBlock);
        read(done, some, block.data());
        for (int64_t i = 0; i < std::min(channels, some); ++i) {
            NOneChannelDither& dither = dithers_[static_cast<int>((first + done + i) % channels)];
            dither.DitherInPlace(block.data() + i, some - i, channels);
        }
        FastestKernels().convert(SampleMode::Int32, reinterpret_cast<const uint8_t*>(block.data()), mode_,
                                 At(first + done), some);
    }
}

void XAudioRdWr::PutInts(int64_t first, int64_t count, const int32_t* values) {
    if (IsDithered()) {
        return PutDithered(first, count, [values](int64_t i, int64_t some, int32_t* block) {
            std::copy_n(values + i, some, block);
        });
    }
    FastestKernels().convert(SampleMode::Int32, reinterpret_cast<const uint8_t*>(values), mode_, At(first),
                             count);
}

// Integers give the same double directly and by way of 32 bits.
void XAudioRdWr::GetDbls(int64_t first, int64_t count, double* values) const {
    WithLayout(mode_, [&](auto layout) {
        const uint8_t* data = At(first);
        if constexpr (layout.kIsInteger) {
            auto* target = reinterpret_cast<uint8_t*>(values);
            FastestKernels().convert(mode_, data, SampleMode::Float64, target, count);
        } else {
            for (int64_t i = 0; i < count; ++i) values[i] = layout.GetDbl(data, i);
        }
    });
}

void XAudioRdWr::PutDbls(int64_t first, int64_t count, const double* values) {
    if (IsDithered()) {
        return PutDithered(first, count, [values](int64_t i, int64_t some, int32_t* block) {
            FastestKernels().round(values + i, SampleMode::Int32, reinterpret_cast<uint8_t*>(block), some);
        });
    }
    FastestKernels().round(values, mode_, At(first), count);
}

void XAudioRdWr::PutFrom(const XAudioRdWr& reader, int64_t count) {
    if (!IsDithered()) return FastestKernels().convert(reader.mode_, reader.data_, mode_, data_, count);
    PutDithered(0, count,
                [&reader](int64_t i, int64_t some, int32_t* block) { reader.GetInts(i, some, block); });
}

}  // namespace w64
