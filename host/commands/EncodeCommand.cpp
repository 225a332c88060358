#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/OutputNames.h"
#include "host/commandline/StreamInput.h"
#include "host/commands/Commands.h"
#include "host/commands/ConversionJobs.h"
#include "host/files/OutputFile.h"
#include "host/formats/AudioSource.h"
#include "host/formats/MPEGSource.h"
#include "host/formats/Verification.h"
#include "host/formats/Wave64Writer.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Salvage.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <filesystem>
#include <optional>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAboutInputs =
    "w64 encode IN OUT.w64 means w64 encode IN -o OUT.w64: where there are two files and\n"
    "no -o, the second is the output if it ends in .w64.\n\n"
    "Tags go into a list before the audio, the broadcast extension (bext) into its chunk.\n"
    "A note names what is left behind.\n\n";
constexpr const char* kAboutStreams =
    "/dev/stdin instead of - is encoded while it comes, which WAV, AIFF and AU allow:\n\n"
    "  arecord -f S24_3LE -r 48000 -c 2 -t wav | w64 encode /dev/stdin concert.w64\n\n";
constexpr const char* kSalvageHint = "; --salvage keeps what it still holds";

// libsndfile reads only the audio of a Wave64 file.
Metadata MetadataOf(const std::string& input, const AudioSource& source) {
    return source.IsWave64() ? Wave64File(input).ReadMetadata() : source.ReadMetadata();
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

// The encoding of one file.
class FileEncoding {
public:
    FileEncoding(const ConversionJob& job, const EncodeOptions& options, CommandContext context,
                 Progress& progress, WorkSlot& slot)
        : job_(job), options_(options), context_(context), progress_(progress), slot_(slot) {}

    void Run() {
        RefuseToReplaceInput(job_.input, job_.output);
        if (IsToBeWrapped()) {
            Wrap();
        } else {
            Convert();
        }
    }

private:
    // MPEG audio is stored as it is unless a conversion is asked for. A pipe cannot be examined first.
    bool IsToBeWrapped() const {
        if (options_.conversion != ConversionOptions{}) return false;
        if (std::error_code error; !fs::is_regular_file(job_.input, error)) return false;
        const auto kind = AudioSource::Container(job_.input);
        return kind ? *kind == SF_FORMAT_MPEG : MPEGSource::Recognises(job_.input);
    }

    void Convert() {
        AudioSource source(job_.input);
        std::string cut = DescribeCut(job_.input, source);
        if (!cut.empty() && !options_.salvage) throw Failure(cut + kSalvageHint);
        const auto read = [&]() -> std::span<const uint8_t> {
            try {
                return source.Read();
            } catch (const Failure& failure) {
                cut = failure.what();
                if (!options_.salvage) throw Failure(cut + kSalvageHint);
                return {};
            }
        };
        const tWAVEFORMATEX& format = source.Format().Format;
        Conversion conversion(XAudioWFX(&source.Format()), options_.conversion, job_.threads);
        const XAudioWFX& target = conversion.Target();
        if (!options_.noTags) metadata_ = MetadataOf(job_.input, source);
        metadata_.MoveStart(0, format.nSamplesPerSec, target.SamplesPerSec());
        Wave64Writer writer = Open(target, {});
        const Conversion::Write write = [&](std::span<const uint8_t> frames) { Write(writer, frames); };
        Progress::Share share(progress_, source.Frames());
        for (auto bytes = read(); !bytes.empty(); bytes = read()) {
            Interrupt::Check();
            conversion.Convert(bytes, write);
            const auto frames = static_cast<int64_t>(bytes.size()) / format.nBlockAlign;
            share.Advance(frames, static_cast<double>(frames) / format.nSamplesPerSec);
        }
        conversion.Finish(write);
        Finish(writer, share);
        if (!cut.empty()) Note(cut);
    }

    void Wrap() {
        MPEGSource source(job_.input);
        if (!options_.noTags) metadata_ = source.ReadMetadata();
        const bool countFits = source.Frames() <= UINT32_MAX;
        Wave64Writer writer = Open(source.Format(), countFits ? static_cast<uint32_t>(source.Frames()) : 0);
        Progress::Share share(progress_, source.Bytes());
        for (auto bytes = source.Read(); !bytes.empty(); bytes = source.Read()) {
            Interrupt::Check();
            Write(writer, bytes);
            share.Advance(static_cast<int64_t>(bytes.size()),
                          static_cast<double>(bytes.size()) / source.Format().AvgBytesPerSec());
        }
        Finish(writer, share);
        for (const std::string& note : source.DescribeRest()) Note(note);
    }

    Wave64Writer Open(const XAudioWFX& format, std::optional<uint32_t> frameCount) {
        if (options_.verify) verification_.emplace(job_.output, format);
        return {job_.output, options_.force, format, options_.padding, context_.traceDescriptor,
                metadata_,   frameCount};
    }

    void Write(Wave64Writer& writer, std::span<const uint8_t> audio) {
        writer.Write(audio);
        if (verification_) verification_->Add(audio);
    }

    void Finish(Wave64Writer& writer, const Progress::Share& share) {
        if (verification_) verification_->CheckAudioChunk(writer.Close());
        slot_.unlock();
        writer.Finish();
        const std::vector<std::string> left = metadata_.LeftBehind({.tags = true, .extension = true});
        if (!left.empty()) Note("not carried over: " + Joined(left, ", "));
        context_.console.Summary(job_.output.native(), share.Outcome());
    }

    void Note(const std::string& text) const { context_.console.Note(job_.input, "note: " + text); }

    const ConversionJob& job_;
    const EncodeOptions& options_;
    CommandContext context_;
    Progress& progress_;
    WorkSlot& slot_;
    Metadata metadata_;
    std::optional<Verification> verification_;
};

bool EncodeCommand(const EncodeOptions& options, CommandContext context) {
    options.conversion.Check();
    const std::vector<ConversionJob> jobs = PlanEncodeJobs(options);
    Progress progress(context.console, options.inputs[0], static_cast<int>(jobs.size()));
    return ForEachJob(jobs, options, context.console, [&](const ConversionJob& job, WorkSlot& slot) {
        FileEncoding(job, options, context, progress, slot).Run();
    });
}

}  // namespace

void AddEncode(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<EncodeOptions>();
    CLI::App* command = app.add_subcommand("encode", "Convert any audio files to Wave64");
    line.OnCommand(command, EncodeCommand, options);
    command->add_option("IN", options.inputs, "WAV, RF64, AIFF, FLAC, CAF ...; the second of two\ncan be OUT")
        ->required()
        ->type_name("");
    AddFolders(command, line, options.inputs, FilesInFolders::OtherAudio);
    AddStandardInput(command, line, "IN", options.inputs,
                     [&] { return NamesAFile(options.output) || EndsWithOutput(options); });
    command->add_option("-o,--output", options.output, "A .w64 file or a folder; default: a .w64 next to IN")
        ->check([](const std::string& name) { return name.empty() ? "a name is missing" : ""; })
        ->type_name("OUT");
    command->add_flag("--salvage", options.salvage, "Encode what a cut-off file still holds");
    AddPadding(command, options.padding);
    AddConvertOptions(command, options);
    SetFooter(command, std::string(kAboutInputs) + kAboutStandardInput + kAboutStreams);
}

}  // namespace w64
