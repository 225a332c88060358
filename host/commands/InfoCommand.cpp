#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commandline/StreamInput.h"
#include "host/commands/Commands.h"
#include "host/decoder/DecoderInstance.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/JournalledEdit.h"
#include "host/formats/Speakers.h"
#include "host/layout/BroadcastText.h"
#include "host/layout/DecoderNotes.h"
#include "host/layout/Wave64File.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>

namespace w64 {

namespace {

struct InfoOptions {
    std::vector<std::string> inputs;
    bool json = false;
    bool isShort = false;
    std::string value;  // the only one to print
    unsigned jobs = 1;
};

// What the decoder reports, with the errors that did not stop it.
struct Answer {
    STKvAudioInfo info;
    NTag report;
    std::vector<std::string> errors;
};

Answer AskDecoder(const PluginLibrary& library, const std::string& name, CommandContext context) {
    DecoderInstance decoder(library, context.traceDescriptor);
    try {
        decoder.Open(name, kvOpenAudioInfo | kvOpenProperties);
    } catch (const DecoderFailure& failure) {
        throw Failure(WithDamage(failure.what(), name));
    }
    PassOnNotes(decoder, name, context.console);
    return {decoder.Info(), decoder.Properties(), decoder.Errors()};
}

constexpr const char* kAboutValues = "The values are those of --json; duration is in seconds.\n\n";
constexpr const char* kValues[] = {"duration",    "format",       "encoding", "bits",    "channels", "rate",
                                   "channelMask", "milliseconds", "frames",   "bitRate", "bytes"};

// Frames are counted where a stored block is a frame.
std::optional<int64_t> FrameCount(int64_t bytes, const XAudioWFX& stored) {
    if (!IsLinear(stored.WFXFormatTag()) || stored.BlockAlign() == 0) return std::nullopt;
    return bytes / stored.BlockAlign();
}

// One file and all that is known about it.
struct Subject {
    std::string name;
    const STKvAudioInfo& info;
    const NTag& report;
    const XAudioWFX& stored;
    Wave64File& file;
};

std::optional<BroadcastExtension> BroadcastOf(const Subject& subject) {
    return BroadcastExtension::Parse(subject.file.ReadBroadcastExtension());
}

Json ListChunksOf(clWave64Handler& chunks) {
    Json list = Json::array();
    for (int i = 0; i < chunks.Count(); ++i) {
        const STRIFFChunk& chunk = chunks[i];
        list.push_back({{"name", ChunkName(chunk.ChunkGUID)},
                        {"offset", chunk.ChunkPosition},
                        {"bytes", chunk.DataSize}});
    }
    return list;
}

// The audio that is left in a file that is cut off.
Json DescribeRest(const Subject& subject) {
    const int64_t bytes = subject.file.PresentAudioBytes();
    Json json = {{"milliseconds", XAudioWFX(subject.stored).CalcmsTime(bytes)}};
    if (const auto frames = FrameCount(bytes, subject.stored)) json["frames"] = *frames;
    json["bytes"] = bytes;
    return json;
}

void Describe(const Subject& subject, Json& json) {
    const XAudioWFX& stored = subject.stored;
    json["format"] = DescribeFormat(stored);
    json["encoding"] = NameOfTag(stored.WFXFormatTag());
    json["bits"] = stored.BitsPerSample();
    json["channels"] = stored.Channels();
    json["rate"] = stored.SamplesPerSec();
    if (const uint32_t mask = ChannelMaskOf(stored)) {
        json["channelMask"] = mask;
        json["speakers"] = SpeakerNames(mask);
    }
    json["milliseconds"] = int64_t{subject.info.LengthMilliseconds};
    if (const auto frames = FrameCount(subject.info.LengthBytes, stored)) json["frames"] = *frames;
    json["bitRate"] = uint32_t{subject.info.BitRate};
    json["bytes"] = subject.file.FileBytes();
    if (const int64_t missing = subject.file.MissingBytes(); missing > 0) {
        json["missingBytes"] = missing;
        json["audioPresent"] = DescribeRest(subject);
    }
    if (const auto extension = BroadcastOf(subject)) {
        Json& broadcast = json["broadcast"];
        for (const BroadcastField& field : DescribeBroadcast(*extension, stored.SamplesPerSec())) {
            broadcast[field.key] = field.text;
        }
        broadcast["timeReference"] = extension->timeReference;
    }
    json["chunks"] = ListChunksOf(subject.file.Chunks());
    for (int i = 0; i < subject.report.Count(); ++i) {
        json["report"][ToPrintable(subject.report[i].Name)] = ToPrintable(subject.report[i].Value);
    }
}

void Print(const Subject& subject, std::ostream& out) {
    const auto line = [&out](const char* label, const std::string& text) {
        out << "  " << std::left << std::setw(10) << label << text << "\n";
    };
    out << Visible(subject.name) << "\n";
    line("Format", DescribeFormat(subject.stored));
    const uint32_t mask = ChannelMaskOf(subject.stored);
    if (mask != 0) line("Speakers", Joined(SpeakerNames(mask), ", "));
    const auto frames = FrameCount(subject.info.LengthBytes, subject.stored);
    const std::string inFrames = frames ? " (" + Counted(*frames, "frame") + ")" : "";
    line("Duration", FormatDuration(subject.info.LengthMilliseconds) + inFrames);
    line("Bit rate", Grouped(subject.info.BitRate / 1000) + " kbit/s");
    line("Size", Grouped(subject.file.FileBytes()) + " bytes");
    if (const auto extension = BroadcastOf(subject)) {
        out << "  Broadcast\n";
        for (const BroadcastField& field : DescribeBroadcast(*extension, subject.stored.SamplesPerSec())) {
            out << "    " << std::left << std::setw(18) << field.label << VisibleLines(field.text, 22)
                << "\n";
        }
    }
    out << "  Report\n";
    for (int i = 0; i < subject.report.Count(); ++i) {
        const STInternalTag& section = subject.report[i];
        out << "    " << std::left << std::setw(18) << ToPrintable(section.Name)
            << Visible(ToPrintable(section.Value)) << "\n";
    }
    out << "  Chunks\n";
    clWave64Handler& chunks = subject.file.Chunks();
    int nameWidth = 14;
    for (int i = 0; i < chunks.Count(); ++i)
        nameWidth = std::max(nameWidth, static_cast<int>(ChunkName(chunks[i].ChunkGUID).size()));
    for (int i = 0; i < chunks.Count(); ++i) {
        out << "    " << std::left << std::setw(nameWidth) << ChunkName(chunks[i].ChunkGUID) << std::right
            << std::setw(18) << Grouped(chunks[i].DataSize) << " bytes at "
            << Grouped(chunks[i].ChunkPosition) << "\n";
    }
}

void PrintShort(const Subject& subject, std::ostream& out) {
    out << Visible(subject.name) << ": " << DescribeFormat(subject.stored) << ", "
        << FormatDuration(subject.info.LengthMilliseconds) << ", "
        << Counted(subject.file.FileBytes(), "byte") << "\n";
}

void PrintValue(const std::string& name, const Subject& subject, std::ostream& out) {
    Json json;
    Describe(subject, json);
    if (name == "duration") {
        const int64_t milliseconds = subject.info.LengthMilliseconds;
        out << milliseconds / 1000 << "." << std::setfill('0') << std::setw(3) << std::right
            << milliseconds % 1000 << std::setfill(' ') << "\n";
        return;
    }
    if (!json.contains(name)) throw Failure("has no value '" + name + "'");
    out << (json[name].is_string() ? json[name].get<std::string>() : json[name].dump()) << "\n";
}

void Report(const Subject& subject, const InfoOptions& options, std::ostream& out, Json* json) {
    if (json) {
        Describe(subject, *json);
    } else if (options.isShort) {
        PrintShort(subject, out);
    } else if (!options.value.empty()) {
        PrintValue(options.value, subject, out);
    } else {
        Print(subject, out);
    }
}

void ReportOnFile(const std::string& name, const InfoOptions& options, const PluginLibrary& library,
                  CommandContext context, std::ostream& out, Json* json) {
    NoteInterruptedEdit(name, context.console);
    const Answer answer = AskDecoder(library, name, context);
    Wave64File file(name);
    if (!file.Format()) throw Failure("cannot read the file");
    Report({context.console.NameOf(name), answer.info, answer.report, *file.Format(), file}, options, out,
           json);
    if (!answer.errors.empty()) throw Failure(WithDamage(JoinLines(answer.errors), name));
    if (const std::string cut = file.DescribeCut(); !cut.empty()) throw Failure(cut);
}

bool InfoCommand(const InfoOptions& options, CommandContext context) {
    const PluginLibrary library = PluginLibrary::OfWave64(context.plugin);
    const OwnSettings settings;  // so that lists of every form are read
    const unsigned jobs = context.traceDescriptor == 0 ? options.jobs : 1;  // traces of several would mix
    return ReportOnFiles(options.inputs, options.json, jobs, context.console,
                         [&](size_t i, std::ostream& out, Json* json) {
                             ReportOnFile(options.inputs[i], options, library, context, out, json);
                         });
}

}  // namespace

void AddInfo(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<InfoOptions>();
    CLI::App* command = app.add_subcommand("info", "Show format, length and chunks");
    line.OnCommand(command, InfoCommand, options);
    AddFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Wave64);
    AddStandardInput(command, line, "FILE", options.inputs);
    AddJSON(command, options.json);
    command->add_flag("--short", options.isShort, "Print a line per file")->excludes("--json");
    command
        ->add_option("--get", options.value,
                     "Print only one value: " + Joined({std::begin(kValues), std::end(kValues)}, ", "))
        ->check(
            CLI::IsMember(std::vector<std::string>(std::begin(kValues), std::end(kValues))).description(""))
        ->type_name("VALUE")
        ->excludes("--json", "--short");
    AddJobs(command, options.jobs);
    SetFooter(command, std::string(kAboutValues) + kAboutStandardInput);
}

}  // namespace w64
