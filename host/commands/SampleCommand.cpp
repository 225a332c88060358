#include "audio/samples/XAudioRdWr.h"
#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
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

struct SampleOptions {
    std::string output;
    unsigned rate = 48000;
    unsigned channels = 2;
    std::optional<unsigned> bits;  // default: 24, or 32 for floats
    bool isFloat = false;
    double seconds = 5;
    unsigned padding = kDefaultPadding;
    bool force = false;
};

SampleKind KindOf(const SampleOptions& options) {
    return {options.isFloat ? kTagFloat : kTagPCM, options.bits.value_or(options.isFloat ? 32 : 24)};
}

void RefuseContradictions(const SampleOptions& options) {
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

bool SampleCommand(const SampleOptions& options, CommandContext context) {
    RefuseContradictions(options);
    const WAVEFORMATEXTENSIBLE format = MakeWaveFormat(KindOf(options), options.channels, options.rate, 0);
    const std::vector<std::string> outputs = {options.output};
    Progress progress(context.console, options.output, 1);
    return ForEachFile(outputs, 1, context.console, [&](size_t) {
        Wave64Writer writer(options.output, options.force, XAudioWFX(&format), options.padding,
                            context.traceDescriptor);
        Progress::Share share(progress, 0);
        WriteSignal(options, writer, format, share);
        writer.Finish();
        context.console.Summary(options.output, share.Outcome());
    });
}

}  // namespace

void AddSample(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<SampleOptions>();
    CLI::App* command = app.add_subcommand("sample", "Create a test file: a chord, note by note");
    line.OnCommand(command, SampleCommand, options);
    command->add_option("OUT", options.output, "The .w64 file to write")->required()->type_name("");
    const auto add = [command](const char* name, auto& value, const char* help, const CLI::Validator& check) {
        command->add_option(name, value, help)->check(check)->type_name("N")->capture_default_str();
    };
    add("--rate", options.rate, "Frames per second, 1000 to 768000",
        CLI::Range(1000u, 768000u).description(""));
    add("--channels", options.channels, "1 to 1024", CLI::Range(1u, 1024u).description(""));
    command
        ->add_option("--bits", options.bits, "8, 16, 24 or 32, default 24; with --float 32 or 64, default 32")
        ->check(CLI::IsMember({8u, 16u, 24u, 32u, 64u}).description(""))
        ->type_name("N");
    add("--seconds", options.seconds, "Length in seconds", CLI::Range(0.001, 1e6).description(""));
    command->add_flag("--float", options.isFloat, "Floating-point samples");
    AddPadding(command, options.padding);
    AddForce(command, options.force);
}

}  // namespace w64
