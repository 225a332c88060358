// Conversions between any formats, of any samples. However the audio is cut into blocks, the same bytes come out.

#include "host/convert/Conversion.h"

#include "Input.h"
#include "audio/resample/XAudioFreqConvDesign.h"
#include "host/formats/SampleKind.h"

#include <cmath>

namespace w64 {

namespace {

constexpr SampleKind kKinds[] = {{kTagPCM, 8},  {kTagPCM, 16},   {kTagPCM, 24},
                                 {kTagPCM, 32}, {kTagFloat, 32}, {kTagFloat, 64}};
constexpr uint32_t kRates[] = {44100, 48000,  8000,  16000, 22050, 32000, 88200,
                               96000, 192000, 11025, 1000,  6,     1};

constexpr size_t kMaxBytes = 1 << 16;  // of either side

uint32_t AnyRate(Input& in) {
    return in.Byte() % 64 == 63 ? in.Number<uint32_t>() % 400'000 : in.AnyOf(kRates);
}

XAudioWFX AnyFormat(Input& in) {
    const WAVEFORMATEXTENSIBLE record = MakeWaveFormat(
        in.AnyOf(kKinds), 1 + in.Below(in.Byte() % 16 == 15 ? 80 : 8), AnyRate(in), in.Byte() % 8);
    return XAudioWFX(&record);
}

ConversionOptions AnyOptions(Input& in) {
    ConversionOptions options;
    if (in.Byte() % 2 == 0) options.rate = AnyRate(in);
    if (in.Byte() % 2 == 0) options.channels = 1 + in.Below(8);
    if (in.Byte() % 2 == 0) {
        const SampleKind kind = in.AnyOf(kKinds);
        options.bits = kind.bits;
        options.isFloat = kind.tag == kTagFloat;
    }
    options.dither = in.Byte() % 4 == 0;
    return options;
}

// The bytes again and again, as the filters of a rate hold thousands of frames.
Bytes Repeated(const Bytes& bytes, size_t count) {
    Bytes audio;
    while (!bytes.empty() && audio.size() < count) audio.insert(audio.end(), bytes.begin(), bytes.end());
    return Resized(audio, count);
}

Bytes Convert(const XAudioWFX& source, const ConversionOptions& options, const Bytes& audio, Input cuts) {
    Conversion conversion(source, options);
    Bytes out;
    const auto write = [&](std::span<const uint8_t> bytes) {
        out.insert(out.end(), bytes.begin(), bytes.end());
    };
    std::span<const uint8_t> left = audio;
    while (!left.empty()) {
        const size_t cut = cuts.IsUsedUp() ? left.size() : std::min<size_t>(cuts.Below(3000), left.size());
        conversion.Convert(left.first(cut), write);
        left = left.subspan(cut);
    }
    conversion.Finish(write);
    return out;
}

// Every sample that is written is one that its kind has; integers have no others.
void RequireNumbers(const XAudioWFX& format, const Bytes& audio) {
    if (KindOf(format) != SampleKind{kTagFloat, 32}) return;
    for (size_t at = 0; at + 4 <= audio.size(); at += 4)
        Require(std::isfinite(base::Load<float>(audio.data() + at)), "a resampled stream has no NaN");
}

// The search for rates that work instead, for the message, takes too long here.
bool CanConvert(const XAudioWFX& source, const ConversionOptions& options) {
    const int64_t from = source.SamplesPerSec();
    const int64_t to = options.rate.value_or(source.SamplesPerSec());
    return from == to || FreqConvDesign::Create(from, to, UpwardEdge::SourceHalf);
}

void Try(Input& in) try {
    const XAudioWFX source = AnyFormat(in);
    const ConversionOptions options = AnyOptions(in);
    options.Check();
    if (!CanConvert(source, options)) return;
    const auto frame = static_cast<size_t>(source.BlockAlign());
    const Input cuts(in.Take(in.Byte() % 32));
    const size_t count = in.Below(kMaxBytes);
    Conversion conversion(source, options);
    const int64_t expected = conversion.ExpectedBytes(static_cast<int64_t>(count));
    if (expected > static_cast<int64_t>(16 * kMaxBytes)) return;
    const Bytes audio = Repeated(in.Rest(), count);
    const Bytes whole = Convert(source, options, audio, Input(Bytes()));
    const bool isChanged =
        conversion.Target().wfx()->wFormatTag != source.wfx()->wFormatTag || expected != std::ssize(audio);
    Require(std::ssize(whole) == expected || !isChanged || count % frame != 0, "the length is as announced");
    Require(Convert(source, options, audio, cuts) == whole, "the blocks make no difference");
    if (options.rate && *options.rate != source.SamplesPerSec()) RequireNumbers(conversion.Target(), whole);
} catch (const Failure&) {
    return;  // what cannot be converted
} catch (const UsageError&) {
    return;
}

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    w64::Input in(data, size);
    w64::Try(in);
    return 0;
}
