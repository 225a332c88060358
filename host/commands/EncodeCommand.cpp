#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/FileName.h"
#include "host/files/JournalledEdit.h"
#include "host/formats/AudioSource.h"
#include "host/formats/MPEGSource.h"
#include "host/formats/Wave64Writer.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Salvage.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <filesystem>

namespace w64 {

namespace fs = std::filesystem;

namespace {

struct EncodeOptions {
    std::string input;
    std::string output;
    ConversionOptions conversion;
    bool salvage = false;
    unsigned padding = kDefaultPadding;
    bool force = false;
};

constexpr const char* kSalvageHint = "; --salvage keeps what it still holds";

// libsndfile reads only the audio of a Wave64 file.
void NoteExtras(const std::string& input, const AudioSource& source, CommandContext context) {
    std::vector<std::string> extras = source.Extras();
    if (std::error_code error; extras.empty() && fs::is_regular_file(input, error)) {
        extras = Wave64File(input).Extras();
    }
    if (!extras.empty()) context.console.Note(input, "note: not carried over: " + Joined(extras, ", "));
}

// What is there can be kept; of a Wave64 file only the decoder finds it.
std::string DescribeCut(const std::string& input, const AudioSource& source) {
    std::string cut = source.DescribeCut();
    std::error_code error;
    if (!cut.empty() || !fs::is_regular_file(input, error)) return cut;
    if (Wave64File(input).MissingBytes() == 0 && !HidesAudio(input)) return "";
    const std::string damage = DescribeDamage(input);
    throw Failure((damage.empty() ? "the file is damaged" : damage) +
                  "; w64 decode --salvage keeps what it still holds");
}

void Convert(const EncodeOptions& options, CommandContext context, Progress& progress) {
    AudioSource source(options.input);
    std::string cut = DescribeCut(options.input, source);
    if (!cut.empty() && !options.salvage) throw Failure(cut + kSalvageHint);
    const auto read = [&]() -> std::span<const uint8_t> {
        try {
            return source.Read();
        } catch (const Failure& failure) {
            cut = failure.what();
            if (!options.salvage) throw Failure(cut + kSalvageHint);
            return {};
        }
    };
    const tWAVEFORMATEX& format = source.Format().Format;
    Conversion conversion(XAudioWFX(&source.Format()), options.conversion);
    Wave64Writer writer(options.output, options.force, conversion.Target(), options.padding,
                        context.traceDescriptor);
    const Conversion::Write write = [&writer](std::span<const uint8_t> frames) { writer.Write(frames); };
    Progress::Share share(progress, source.Frames());
    for (auto bytes = read(); !bytes.empty(); bytes = read()) {
        Interrupt::Check();
        conversion.Convert(bytes, write);
        const auto frames = static_cast<int64_t>(bytes.size()) / format.nBlockAlign;
        share.Advance(frames, static_cast<double>(frames) / format.nSamplesPerSec);
    }
    conversion.Finish(write);
    writer.Finish();
    if (!cut.empty()) context.console.Note(options.input, "note: " + cut);
    NoteExtras(options.input, source, context);
    context.console.Summary(options.output, share.Outcome());
}

void Wrap(const EncodeOptions& options, CommandContext context, Progress& progress) {
    MPEGSource source(options.input);
    const bool countFits = source.Frames() <= UINT32_MAX;
    Wave64Writer writer(options.output, options.force, source.Format(), options.padding,
                        context.traceDescriptor, countFits ? static_cast<uint32_t>(source.Frames()) : 0);
    Progress::Share share(progress, source.Bytes());
    for (auto bytes = source.Read(); !bytes.empty(); bytes = source.Read()) {
        Interrupt::Check();
        writer.Write(bytes);
        share.Advance(static_cast<int64_t>(bytes.size()),
                      static_cast<double>(bytes.size()) / source.Format().AvgBytesPerSec());
    }
    writer.Finish();
    for (const std::string& note : source.DescribeRest())
        context.console.Note(options.input, "note: " + note);
    context.console.Summary(options.output, share.Outcome());
}

// MPEG audio is stored as it is unless a conversion is asked for. A pipe cannot be examined first.
bool IsToBeWrapped(const EncodeOptions& options) {
    if (options.conversion != ConversionOptions{}) return false;
    if (std::error_code error; !fs::is_regular_file(options.input, error)) return false;
    const auto kind = AudioSource::Container(options.input);
    return kind ? *kind == SF_FORMAT_MPEG : MPEGSource::Recognises(options.input);
}

bool EncodeCommand(const EncodeOptions& options, CommandContext context) {
    if (fs::path(options.output).extension() != ".w64") {
        throw UsageError("'" + options.output + "' should end in .w64");
    }
    options.conversion.Check();
    const std::vector<std::string> inputs = {options.input};
    Progress progress(context.console, fs::path(options.input).filename(), 1);
    return ForEachFile(inputs, 1, context.console, [&](size_t) {
        NoteInterruptedEdit(options.input, context.console);
        RefuseToReplaceInput(options.input, options.output);
        const auto encode = IsToBeWrapped(options) ? Wrap : Convert;
        encode(options, context, progress);
    });
}

}  // namespace

void AddEncode(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<EncodeOptions>();
    CLI::App* command = app.add_subcommand("encode", "Convert any audio file to Wave64");
    line.OnCommand(command, EncodeCommand, options);
    command->add_option("IN", options.input, "WAV, RF64, AIFF, FLAC, CAF ...")->required()->type_name("");
    command->add_option("OUT", options.output, "The .w64 file to write")->required()->type_name("");
    AddConversion(command, options.conversion);
    command->add_flag("--salvage", options.salvage, "Encode what a cut-off file still holds");
    AddPadding(command, options.padding);
    AddForce(command, options.force);
}

}  // namespace w64
