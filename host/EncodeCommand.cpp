#include "host/AudioSource.h"
#include "host/Commands.h"
#include "host/Failure.h"
#include "host/ForEachFile.h"
#include "host/Interrupt.h"
#include "host/Progress.h"
#include "host/Wave64Writer.h"

#include <filesystem>

namespace fs = std::filesystem;

bool EncodeCommand(const EncodeOptions& options, CommandContext context) {
    if (fs::path(options.output).extension() != ".w64") {
        throw UsageError("'" + options.output + "' should end in .w64");
    }
    const std::vector<std::string> inputs = {options.input};
    Progress progress(context.console, fs::path(options.input).filename(), 1);
    return ForEachFile(inputs, 1, context.console, [&](size_t) {
        AudioSource source(options.input);
        if (std::error_code error; fs::equivalent(options.input, options.output, error)) {
            throw Failure("the output would replace this file itself");
        }
        const tWAVEFORMATEX& format = source.Format().Format;
        Wave64Writer writer(options.output, options.force, source.Format(), context.traceDescriptor);
        Progress::Share share(progress, source.Frames());
        for (auto bytes = source.Read(); !bytes.empty(); bytes = source.Read()) {
            Interrupt::Check();
            writer.Write(bytes);
            const auto frames = static_cast<int64_t>(bytes.size()) / format.nBlockAlign;
            share.Advance(frames, static_cast<double>(frames) / format.nSamplesPerSec);
        }
        writer.Finish();
        context.console.Summary(options.output, share.Outcome());
    });
}
