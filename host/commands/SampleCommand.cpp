#include "audio/samples/XAudioRdWr.h"
#include "host/commands/Commands.h"
#include "host/formats/Arpeggio.h"
#include "host/formats/SampleKind.h"
#include "host/formats/Wave64Writer.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace w64 {

namespace {

SampleKind KindOf(const SampleOptions& options) {
    return {options.isFloat ? kTagFloat : kTagPCM, options.bits.value_or(options.isFloat ? 32 : 24)};
}

void CheckOptions(const SampleOptions& options) {
    if (!options.output.ends_with(".w64")) throw UsageError("'" + options.output + "' should end in .w64");
    CheckSampleKind(options.isFloat, KindOf(options).bits);
    if (!std::isfinite(options.seconds)) throw UsageError("--seconds is not a number");
}

void WriteSignal(const SampleOptions& options, Wave64Writer& writer, const WAVEFORMATEXTENSIBLE& format,
                 Progress::Share& share) {
    const int64_t frames = std::llround(options.seconds * options.rate);
    const int64_t framesPerBlock = std::max<int64_t>(65536 / format.Format.nBlockAlign, 1);
    const int64_t samplesPerBlock = framesPerBlock * options.channels;
    Arpeggio signal(options.channels, options.rate, frames);
    std::vector<double> samples(static_cast<size_t>(samplesPerBlock));
    std::vector<uint8_t> bytes(static_cast<size_t>(framesPerBlock) * format.Format.nBlockAlign);
    XAudioRdWr out(&format.Format, 0, 0, bytes.data(), nullptr);

    share.Expect(frames);
    for (int64_t left = frames; left > 0; left -= framesPerBlock) {
        Interrupt::Check();
        signal.Render(samples);
        for (int64_t i = 0; i < samplesPerBlock; ++i) out.PutDbl(i, samples[static_cast<size_t>(i)]);
        const int64_t count = std::min(left, framesPerBlock);
        writer.Write(std::span(bytes).first(static_cast<size_t>(count) * format.Format.nBlockAlign));
        share.Advance(count, static_cast<double>(count) / options.rate);
    }
}

}  // namespace

bool SampleCommand(const SampleOptions& options, CommandContext context) {
    CheckOptions(options);
    const WAVEFORMATEXTENSIBLE format = MakeWaveFormat(KindOf(options), options.channels, options.rate, 0);
    const std::vector<std::string> outputs = {options.output};
    Progress progress(context.console, std::filesystem::path(options.output).filename(), 1);
    return ForEachFile(outputs, 1, context.console, [&](size_t) {
        Wave64Writer writer(options.output, options.force, XAudioWFX(&format), options.padding,
                            context.traceDescriptor);
        Progress::Share share(progress, 0);
        WriteSignal(options, writer, format, share);
        writer.Finish();
        context.console.Summary(options.output, share.Outcome());
    });
}

}  // namespace w64
