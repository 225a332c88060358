#include "audio/pipeline/XAudioChannelConv.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace w64 {

namespace {

enum Position { kLeft = 1, kRight, kCenter, kSubWoofer, kBackLeft, kBackRight, kSideLeft, kSideRight };

constexpr int kMaxChannels = XAudioChannelConv::kMaxChannels;
constexpr double kSqrt2 = 1.4142135623730951;
constexpr double kSqrtHalf = 0.7071067811865476;
constexpr double kRemovedShare = 0.2928932188134524;
constexpr double kMinShare = 0.44;

constexpr char Mappings[kMaxChannels][30] = {"Left",      "Right",      "Center",    "Sub-woofer",
                                             "Back Left", "Back Right", "Side Left", "Side Right"};

constexpr char ChannelNames[kMaxChannels][30] = {"Mono",     "Stereo",       "2.1",       "Quadraphonic",
                                                 "Surround", "5.1 Surround", "7 Channel", "7.1 Theater"};

constexpr int CC_ChannelMapping[kMaxChannels][kMaxChannels] = {
    {0, 0, 1, 0, 0, 0, 0, 0},  //
    {1, 2, 0, 0, 0, 0, 0, 0},  //
    {1, 2, 0, 3, 0, 0, 0, 0},  //
    {1, 2, 0, 0, 3, 4, 0, 0},  //
    {1, 2, 3, 0, 4, 5, 0, 0},  //
    {1, 2, 3, 4, 5, 6, 0, 0},  //
    {1, 2, 3, 4, 5, 6, 7, 0},  //
    {1, 2, 3, 4, 5, 6, 7, 8},
};

constexpr bool IsCount(int count) { return count >= 1 && count <= kMaxChannels; }

int ChannelOf(int count, int position) { return CC_ChannelMapping[count - 1][position - 1]; }

double EvenShare(int count) { return std::max(1.0 / count, kMinShare); }

bool IsBackOrSide(int position) { return position >= kBackLeft; }

// Surround channels stay on their own side.
bool Feeds(int surround, int position) {
    switch (surround) {
    case kBackLeft:
        return position == kLeft;
    case kBackRight:
        return position == kRight;
    case kSideLeft:
        return position == kLeft || position == kBackLeft;
    case kSideRight:
        return position == kRight || position == kBackRight;
    default:
        return true;
    }
}

double DownmixVal(int inCount, int outCount, int in, int out) {
    double value = EvenShare(inCount);
    if (in == out) {
        if (outCount != 1) value = kSqrtHalf;
    } else if (!XAudioChannelConv::ChannelHas(outCount, in)) {
        value = std::max(kRemovedShare / (inCount - outCount), kMinShare);
    } else {
        value = 0.0;
    }
    if (in != out && IsBackOrSide(in)) value = -value;
    if (outCount == 1) return in == kLeft || in == kRight ? value * kSqrt2 : value;
    if (out == kCenter) return in == kCenter ? 1.0 : 0.0;
    return in == out || Feeds(in, out) ? value : 0.0;
}

double UpmixVal(int inCount, int outCount, int in, int out) {
    if (in == out) return 1.0;
    if (XAudioChannelConv::ChannelHas(inCount, out) && XAudioChannelConv::ChannelHas(outCount, in))
        return 0.0;
    switch (out) {
    case kBackLeft:
    case kSideLeft:
        return in == kLeft ? kSqrtHalf : 0.0;
    case kBackRight:
    case kSideRight:
        return in == kRight ? kSqrtHalf : 0.0;
    default:
        return EvenShare(inCount);
    }
}

// Only an output with four inputs or more has any in opposite phase, an input at full level is lowered where
// it shares its output, and no output is left without input.
void FixUpOutput(XAudioChannelConv::Matrix& matrix, int inCount, size_t out) {
    const auto inputs = static_cast<size_t>(inCount);
    size_t sources = 0;
    for (size_t in = 0; in < inputs; ++in) sources += matrix[in][out] != 0.0 ? 1 : 0;
    for (size_t in = 0; in < inputs; ++in) {
        double& value = matrix[in][out];
        if (sources <= 3) value = std::abs(value);
        if (sources >= 2 && value == 1.0) value *= kSqrtHalf;
        if (sources == 0) value = EvenShare(inCount);
    }
}

XAudioChannelConv::Matrix MatrixOf(int inCount, int outCount) {
    XAudioChannelConv::Matrix matrix{};
    for (int in = 1; in <= kMaxChannels; ++in) {
        for (int out = 1; out <= kMaxChannels; ++out) {
            if (!ChannelOf(inCount, in) || !ChannelOf(outCount, out)) continue;
            matrix[static_cast<size_t>(ChannelOf(inCount, in) - 1)]
                  [static_cast<size_t>(ChannelOf(outCount, out) - 1)] =
                      XAudioChannelConv::GetMatrixVal(inCount, outCount, in, out);
        }
    }
    for (int out = 0; out < outCount; ++out) FixUpOutput(matrix, inCount, static_cast<size_t>(out));
    return matrix;
}

// One output channel of interleaved frames. The sum starts with its first product, not with 0, so that -0
// from a single input at full level stays -0.
template <int Count>
void MixChannel(const XAudioChannelConv::Action* actions, const double* in, int inChannels, int64_t frames,
                double* out, int outChannels) {
    for (int64_t frame = 0; frame < frames; ++frame) {
        double sum = actions[0].coefficient * in[actions[0].channel - 1];
        for (int i = 1; i < Count; ++i) sum += actions[i].coefficient * in[actions[i].channel - 1];
        *out = sum;
        in += inChannels;
        out += outChannels;
    }
}

constexpr decltype(&MixChannel<1>) kMixChannel[kMaxChannels] = {MixChannel<1>, MixChannel<2>, MixChannel<3>,
                                                                MixChannel<4>, MixChannel<5>, MixChannel<6>,
                                                                MixChannel<7>, MixChannel<8>};

// In blocks of doubles that fit the cache.
void Mix(const XAudioChannelConv::ActionTable& table, const XAudioRdWr& reader, int inChannels,
         XAudioRdWr& writer, int64_t frames) {
    constexpr int64_t kBlockFrames = 128;
    const auto outChannels = static_cast<int>(table.size());
    std::array<double, kBlockFrames * kMaxChannels> in;
    std::array<double, kBlockFrames * kMaxChannels> out;
    for (int64_t first = 0; first < frames; first += kBlockFrames) {
        const int64_t count = std::min(kBlockFrames, frames - first);
        reader.GetDbls(first * inChannels, count * inChannels, in.data());
        for (size_t channel = 0; channel < table.size(); ++channel) {
            const XAudioChannelConv::Actions& actions = table[channel];
            kMixChannel[actions.size() - 1](actions.data(), in.data(), inChannels, count, &out[channel],
                                            outChannels);
        }
        writer.PutDbls(first * outChannels, count * outChannels, out.data());
    }
}

// Mono feeds every output at full level, so integer outputs are copies. Stereo frames are read as 4 bytes and
// written as 8; the next frame overwrites what was too much.
template <ptrdiff_t kBytes>
void Repeat(const uint8_t* in, int64_t frames, int channels, uint8_t* out) {
    static_assert(kBytes <= 4);
    for (; channels == 2 && frames * kBytes >= 4; --frames, in += kBytes, out += 2 * kBytes) {
        uint32_t sample = 0;
        std::memcpy(&sample, in, sizeof sample);
        const uint64_t one = sample & (~uint32_t{0} >> (32 - 8 * kBytes));
        const uint64_t both = one | one << (8 * kBytes);
        std::memcpy(out, &both, sizeof both);
    }
    for (; frames > 0; --frames, in += kBytes) {
        for (int channel = 0; channel < channels; ++channel, out += kBytes) std::memcpy(out, in, kBytes);
    }
}

using RepeatFunction = decltype(&Repeat<1>);
constexpr RepeatFunction kRepeat[] = {Repeat<1>, Repeat<2>, Repeat<3>, Repeat<4>};

}  // namespace

const char* XAudioChannelConv::GetChannelMapping(int position) {
    return IsCount(position) ? Mappings[position - 1] : "";
}

const char* XAudioChannelConv::GetChannelDescript(int count) {
    return IsCount(count) ? ChannelNames[count - 1] : "";
}

bool XAudioChannelConv::ChannelHas(int count, int position) {
    return IsCount(count) && IsCount(position) && ChannelOf(count, position) != 0;
}

double XAudioChannelConv::GetMatrixVal(int inCount, int outCount, int inPosition, int outPosition) {
    if (inCount == 1) return 1.0;
    if (outPosition == kSubWoofer) {
        if (inPosition == kSubWoofer) return 1.0;
        if (ChannelHas(inCount, kSubWoofer)) return 0.0;
    }
    return inCount > outCount ? DownmixVal(inCount, outCount, inPosition, outPosition)
                              : UpmixVal(inCount, outCount, inPosition, outPosition);
}

const XAudioChannelConv::MatrixStore& XAudioChannelConv::GenerateMatrix() {
    static const MatrixStore kStore = [] {
        MatrixStore store{};
        for (int in = 1; in <= kMaxChannels; ++in) {
            for (int out = 1; out <= kMaxChannels; ++out) {
                if (in != out)
                    store[static_cast<size_t>(in - 1)][static_cast<size_t>(out - 1)] = MatrixOf(in, out);
            }
        }
        return store;
    }();
    return kStore;
}

XAudioChannelConv::ActionTable XAudioChannelConv::GenerateActionTable(int inCount, int outCount) {
    if (!IsCount(inCount) || !IsCount(outCount)) return {};
    const Matrix& matrix =
        GenerateMatrix()[static_cast<size_t>(inCount - 1)][static_cast<size_t>(outCount - 1)];
    ActionTable table(static_cast<size_t>(outCount));
    for (size_t out = 0; out < table.size(); ++out) {
        for (int in = 1; in <= inCount; ++in) {
            const double coefficient = matrix[static_cast<size_t>(in - 1)][out];
            if (coefficient != 0.0) table[out].push_back({in, coefficient});
        }
    }
    return table;
}

bool XAudioChannelConv::Init(const XAudioWFX& input, int outChannels) {
    if (input.Channels() == outChannels) return true;
    return IsLinear(input.WFXFormatTag()) && IsCount(input.Channels()) && IsCount(outChannels);
}

bool XAudioChannelConv::ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace,
                                    const wchar_t* options) {
    return ConvertData(input, target.Channels(), inPlace, options);
}

bool XAudioChannelConv::ConvertData(XAudioBufferNew& input, int outChannels, bool inPlace,
                                    const wchar_t* options) try {
    if (input.Channels() == outChannels) return buffer_.InitializeBuffer(inPlace, input);
    if (!Init(input, outChannels)) return false;
    if (!XAudioRdWr::HasLayout(input.WFXFormatTag(), input.BitsPerSample())) return false;
    if (!SetUpResult(input, outChannels)) return false;
    const XAudioRdWr reader(input, 0, nullptr);
    writer_.Continue(buffer_, options);
    const int bytes = input.BitsPerSample() / 8;
    if (input.Channels() == 1 && input.WFXFormatTag() == kTagPCM && bytes <= 4 && !writer_.IsDithered()) {
        kRepeat[bytes - 1](input.BufferStart(), input.GetUsedSample(), outChannels, buffer_.BufferStart());
        return true;
    }
    Mix(GenerateActionTable(input.Channels(), outChannels), reader, input.Channels(), writer_,
        input.GetUsedSample());
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

bool XAudioChannelConv::SetUpResult(XAudioBufferNew& input, int outChannels) {
    const int64_t frames = input.GetUsedSample();
    buffer_.Assign(input);
    buffer_.SetChannels(outChannels, true);
    if (!buffer_.SetBufferByteSizeNew(buffer_.SampleToBytes(frames), false, false)) return false;
    buffer_.SetUsedSample(frames);
    return true;
}

}  // namespace w64
