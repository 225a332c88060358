// The `w64` command: reads the command line and runs the command.

#include "host/commands/Commands.h"
#include "host/commands/NearestName.h"
#include "host/convert/ConversionLimits.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/StandardOutput.h"
#include "host/terminal/TraceFile.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace {

constexpr int kFileFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kSignalled = 128;  // plus the signal, as in shells
constexpr unsigned kMaxPadding = 1 << 24;

struct CommandLine {
    bool quiet = false;
    std::string trace;
    std::string plugin;
    DecodeOptions decode;
    InfoOptions info;
    ChunksOptions chunks;
    LayoutOptions check;
    RepairOptions repair;
    MD5Options md5;
    CompareOptions compare;
    EncodeOptions encode;
    TagsOptions tags;
    TagEditOptions setTags;
    TagEditOptions removeTags;
    OptionsOptions options;
    SampleOptions sample;
    PlotOptions plot;
    std::vector<std::string> help;

    std::function<bool(Console&)> run;  // the command that was given
};

template <class Options>
using Work = bool (*)(const Options&, CommandContext);

template <class Options>
void Choose(CommandLine& line, Work<Options> work, const Options& options) {
    line.run = [&line, &options, work](Console& console) {
        const TraceFile trace(line.trace);
        return work(options, {console, trace.Descriptor(), line.plugin});
    };
}

// What the command does when it is given.
template <class Options>
void OnCommand(CLI::App* command, CommandLine& line, Work<Options> work, const Options& options) {
    command->final_callback([&line, &options, work] { Choose(line, work, options); });
}

constexpr const char* kExamples = R"(Examples:
  w64 decode song.w64                   song.wav next to it
  w64 decode song.w64 -o song.flac      another type of file, by its extension
  w64 decode *.w64 -o converted/        many files, all processor cores
  w64 decode song.w64 --start 1:30 --end 2:00 -o - | aplay
  w64 decode song.w64 --rate 44100 --bits 16 --dither
  w64 decode broken.w64 --salvage       what a damaged recording still holds
  w64 info song.w64
  w64 chunks song.w64                   where the audio, the tags and free space lie
  w64 check *.w64                       what is wrong or odd about files
  w64 repair song.w64                   finish an edit that was interrupted
  w64 md5 song.w64 song.flac            whether an archived copy has the same audio
  w64 compare song.w64 song.flac        where their audio first differs
  w64 tags set song.w64 "Title=The Song" Artist=Somebody
  w64 encode song.wav song.w64
  w64 sample test.w64 --channels 6
  w64 plot song.w64 -o song.png         waveform and spectrogram
)";

constexpr const char* kAlso = "-q, --trace and --plugin work here too; see w64 --help.\n";
constexpr const char* kAboutPlaces =
    "START and END are times, in seconds (90) or with minutes and hours (1:30,\n"
    "1:02:03.5), or frames (12345f). END itself is not decoded.\n\n";
constexpr const char* kAboutCheck =
    "What is wrong endangers the audio, or programs that read or edit the file;\n"
    "the exit code is then 1. What is odd does no harm; -q hides it.\n"
    "Nothing is changed, and the audio itself is not checked.\n\n";

constexpr const char* kAboutRepair =
    "An edit that a crash or a power failure interrupts leaves its journal next to the\n"
    "file, as .NAME.w64-journal. Every command that edits the file finishes it, and so\n"
    "does this one. --journal is for a file that was renamed since.\n\n";
constexpr const char* kAboutMD5 =
    "The MD5 is the one that FLAC files keep: metaflac --show-md5sum prints the same for\n"
    "the same audio. Floats and 32-bit integers count as they are stored. A file that is\n"
    "not whole has none.\n\n";
constexpr const char* kAboutCompare =
    "Values are compared: the same samples in another container, or with more bits, are\n"
    "equal. If they differ, the first difference is shown, and the exit code is 1.\n\n";
constexpr const char* kAboutTags =
    "If the tags fit where they are, only their bytes change, in an instant and under a\n"
    "journal, which survives a power failure. Else the audio has to move: a copy of the\n"
    "file is edited and compared, and replaces it. Tags go before the audio if there is\n"
    "room, or the file is small, and else after it; LIST Chunk Position (w64 options)\n"
    "decides otherwise.\n\n"
    "--in-place needs neither a copy nor a folder that can be written to. If the audio\n"
    "has to move, it cannot be stopped then, and a power failure meanwhile leaves part of\n"
    "the audio twice or not at all.\n\n";
constexpr const char* kAboutPlot =
    "The waveform has a lane for each channel, or one for all if there are more than 8:\n"
    "peaks in pale blue, RMS in dark blue. The spectrogram below is the mean over all\n"
    "channels; a full-scale sine in all of them is at 0 dBFS.\n\n";
constexpr const char* kAboutOptions =
    "The settings apply to every program that uses the decoder. w64 itself always edits\n"
    "safely, and writes 16-bit text unless LIST Text is set.\n\n";

std::optional<TimePoint> ParsePlace(const std::string& text) {
    auto place = TimePoint::Parse(text);
    if (!place)
        throw CLI::ValidationError("'" + text + "' is neither a time (90, 1:30.5) nor a frame (12345f)");
    return place;
}

PictureSize ParseSize(const std::string& text) {
    PictureSize size;
    int end = 0;
    const int found = std::sscanf(text.c_str(), "%5dx%5d%n", &size.width, &size.height, &end);
    if (found != 2 || static_cast<size_t>(end) != text.size()) {
        throw CLI::ValidationError("'" + text + "' is not a size (1600x900)");
    }
    constexpr PictureSize kMin = PlotLayout::kMinSize;
    constexpr PictureSize kMax = PlotLayout::kMaxSize;
    if (size.width < kMin.width || size.height < kMin.height || size.width > kMax.width ||
        size.height > kMax.height) {
        throw CLI::ValidationError("the size must be 640x400 to 8000x4000 pixels");
    }
    return size;
}

void AddPadding(CLI::App* command, unsigned& padding) {
    const auto check = [](const std::string& text) {
        unsigned bytes = 0;
        const bool isNumber = CLI::detail::lexical_cast(text, bytes);
        const bool isRight =
            isNumber && bytes % 8 == 0 && (bytes == 0 || bytes >= 32) && bytes <= kMaxPadding;
        return isRight ? "" : "'" + text + "' is neither 0 nor a multiple of 8 from 32 to 16777216";
    };
    command->add_option("--padding", padding, "Bytes to leave before the audio for tags, 0 for none")
        ->check(check)
        ->type_name("N")
        ->capture_default_str();
}

void AddFiles(CLI::App* command, std::vector<std::string>& files) {
    command->add_option("FILE", files, "Wave64 files")->required()->type_name("");
}

void AddJSON(CLI::App* command, bool& json) {
    command->add_flag("--json", json, "Write a JSON array with an object per file");
}

void AddForce(CLI::App* command, bool& force) {
    command->add_flag("-f,--force", force, "Replace existing files");
}

void AddConversion(CLI::App* command, ConversionOptions& options) {
    const auto add = [command](const char* name, auto& value, const char* help, const CLI::Validator& check) {
        command->add_option(name, value, help)->check(check)->type_name("N")->group("Conversion");
    };
    add("--rate", options.rate, "Frames per second, 1 to 10000000", CLI::Range(1u, kMaxRate).description(""));
    add("--channels", options.channels, "1 to 8", CLI::Range(1u, 8u).description(""));
    add("--bits", options.bits, "8, 16, 24 or 32 for integers; 32 or 64 with --float",
        CLI::IsMember({8u, 16u, 24u, 32u, 64u}).description(""));
    command->add_flag("--float", options.isFloat, "Floating-point samples, 32-bit unless --bits is given")
        ->group("Conversion");
    command->add_flag("--dither", options.dither, "Dither when reducing to 16 or 24 bits")
        ->group("Conversion");
}

void AddDecode(CLI::App& app, CommandLine& line) {
    DecodeOptions& options = line.decode;
    CLI::App* command = app.add_subcommand("decode", "Decode Wave64 files to WAV, FLAC or raw samples");
    OnCommand(command, line, DecodeCommand, options);
    options.jobs = std::max(std::thread::hardware_concurrency(), 1u);
    command->add_option("IN", options.inputs, "Wave64 files")->required()->type_name("");
    command
        ->add_option("-o,--output", options.output,
                     "A .wav, .flac, .raw or .pcm file, a folder, or\n- for standard output; default: a .wav "
                     "next to IN")
        ->check([](const std::string& name) { return name.empty() ? "a name is missing" : ""; })
        ->type_name("OUT");
    command
        ->add_option_function<std::string>(
            "--format", [&options](const std::string& kind) { options.type = AudioFileTypeOf("." + kind); },
            "wav, flac or raw, regardless of the output's extension")
        ->check(CLI::IsMember({"wav", "flac", "raw"}).description(""))
        ->type_name("KIND");
    const auto addPlace = [command](const char* name, std::optional<TimePoint>& place, const char* help,
                                    const char* type) {
        command
            ->add_option_function<std::string>(
                name, [&place](const std::string& text) { place = ParsePlace(text); }, help)
            ->type_name(type);
    };
    addPlace("--start", options.start, "Where to start", "START");
    addPlace("--end", options.end, "Where to stop", "END");
    AddConversion(command, options.conversion);
    command->add_flag("--salvage", options.salvage, "Decode what a damaged file still holds");
    AddForce(command, options.force);
    command->add_option("-j,--jobs", options.jobs, "Files to decode at the same time")
        ->check(CLI::Range(1u, 1024u).description(""))
        ->type_name("N")
        ->capture_default_str();
    command->footer(std::string(kAboutPlaces) + kAlso);
}

void AddInfo(CLI::App& app, CommandLine& line) {
    InfoOptions& options = line.info;
    CLI::App* command = app.add_subcommand("info", "Show format, length and chunks");
    OnCommand(command, line, InfoCommand, options);
    AddFiles(command, options.inputs);
    AddJSON(command, options.json);
}

void AddChunks(CLI::App& app, CommandLine& line) {
    ChunksOptions& options = line.chunks;
    CLI::App* command = app.add_subcommand("chunks", "Show the chunks of a file and where they are");
    OnCommand(command, line, ChunksCommand, options);
    AddFiles(command, options.inputs);
    AddJSON(command, options.json);
}

void AddCheck(CLI::App& app, CommandLine& line) {
    LayoutOptions& options = line.check;
    CLI::App* command = app.add_subcommand("check", "Report what is wrong or odd about a file's layout");
    OnCommand(command, line, CheckCommand, options);
    AddFiles(command, options.inputs);
    command->footer(std::string(kAboutCheck) + kAlso);
}

void AddRepair(CLI::App& app, CommandLine& line) {
    RepairOptions& options = line.repair;
    CLI::App* command = app.add_subcommand("repair", "Finish an edit that was interrupted");
    OnCommand(command, line, RepairCommand, options);
    AddFiles(command, options.inputs);
    command
        ->add_option("--journal", options.journal, "The journal of the edit; default: the one next to FILE")
        ->type_name("JOURNAL");
    command->footer(std::string(kAboutRepair) + kAlso);
}

void AddMD5(CLI::App& app, CommandLine& line) {
    MD5Options& options = line.md5;
    CLI::App* command = app.add_subcommand("md5", "Print the MD5 of the audio of any files");
    OnCommand(command, line, MD5Command, options);
    command->add_option("FILE", options.inputs, "Audio files: Wave64, WAV, AIFF, FLAC ...")
        ->required()
        ->type_name("");
    AddJSON(command, options.json);
    command->footer(std::string(kAboutMD5) + kAlso);
}

void AddCompare(CLI::App& app, CommandLine& line) {
    CompareOptions& options = line.compare;
    CLI::App* command = app.add_subcommand("compare", "Compare the audio of two files of any kind");
    OnCommand(command, line, CompareCommand, options);
    command->add_option("A", options.first, "An audio file")->required()->type_name("");
    command->add_option("B", options.second, "Another one")->required()->type_name("");
    command->footer(std::string(kAboutCompare) + kAlso);
}

// "w64 tags set"
std::string TitleOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent ? TitleOf(*parent) + " " : "") + command.get_name();
}

std::string NoSuch(const char* what, const std::string& typed, const std::vector<std::string>& names,
                   const CLI::App& command) {
    return std::string("there is no ") + what + " '" + typed + "'; " +
           Suggestion(typed, names, "see " + TitleOf(command) + " --help");
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

std::string NoCommand(const std::string& name, const CLI::App& app) {
    return NoSuch("command", name, CommandsOf(app), app);
}

// A first file that is not there may be a mistyped command; else empty.
std::string MistypedCommand(const CLI::App& app) {
    const CLI::Option* files = app.get_option_no_throw("FILE");
    if (!files || files->empty()) return "";
    const std::string& typed = files->results()[0];
    const bool isCommand = NearestName(typed, CommandsOf(app)) && ::access(typed.c_str(), F_OK) != 0;
    return isCommand ? NoCommand(typed, app) : "";
}

void AddTagEdit(CLI::App* command, TagEditOptions& options, const char* tags, const char* help) {
    command->add_option("FILE", options.file, "A Wave64 file")->required()->type_name("");
    command->add_option(tags, options.tags, help)->type_name("");
    command->add_flag("--in-place", options.inPlace,
                      "Make no copy, even if the audio has to move; less safe");
    command->add_flag("-f,--force", options.force, "Edit even if tags that cannot be rewritten are lost");
}

void AddTags(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("tags", "Show tags, set and remove them");
    command->require_subcommand(0, 1);
    command->add_option("FILE", line.tags.inputs, "Wave64 files")->type_name("");
    command->add_flag("--chunks", line.tags.chunks, "Show the other chunks too");
    AddJSON(command, line.tags.json);
    command->final_callback([command, &line] {
        if (!command->get_subcommands().empty()) return;
        if (line.tags.inputs.empty()) throw CLI::RequiredError("FILE");
        Choose(line, TagsCommand, line.tags);
        if (const std::string mistyped = MistypedCommand(*command); !mistyped.empty()) {
            line.run = [mistyped](Console&) -> bool { throw UsageError(mistyped); };
        }
    });
    command->footer(std::string(kAboutTags) + kAlso);

    CLI::App* set = command->add_subcommand("set", "Set tags; an empty value removes the tag");
    AddTagEdit(set, line.setTags, "NAME=VALUE", "Tags to set");
    set->add_flag("--move", line.setTags.move, "Move tags that are after the audio to the place before it");
    set->final_callback([&line] {
        if (line.setTags.tags.empty() && !line.setTags.move) throw CLI::RequiredError("NAME=VALUE");
        Choose(line, SetTagsCommand, line.setTags);
    });
    set->footer("Names:\n" + TagNamesInColumns() + "\n" + kAboutTags + kAlso);
    CLI::App* remove = command->add_subcommand("remove", "Remove tags");
    AddTagEdit(remove, line.removeTags, "NAME", "Tags to remove");
    OnCommand(remove, line, RemoveTagsCommand, line.removeTags);
    remove->add_flag("--all", line.removeTags.all, "Remove every tag");
}

void AddOptions(CLI::App& app, CommandLine& line) {
    OptionsOptions& options = line.options;
    CLI::App* command = app.add_subcommand("options", "Show and change how tags are stored");
    OnCommand(command, line, OptionsCommand, options);
    command->add_option("NAME=VALUE", options.assignment, "An option to show or to set")->type_name("");
    command->add_flag("--unset", options.unset, "Unset the option, so that its default applies");
    command->add_flag("--all", options.all, "With --unset, all options");
    command->footer(std::string(kAboutOptions) + kAlso);
}

void AddEncode(CLI::App& app, CommandLine& line) {
    EncodeOptions& options = line.encode;
    CLI::App* command = app.add_subcommand("encode", "Convert any audio file to Wave64");
    OnCommand(command, line, EncodeCommand, options);
    command->add_option("IN", options.input, "WAV, RF64, AIFF, FLAC, CAF ...")->required()->type_name("");
    command->add_option("OUT", options.output, "The .w64 file to write")->required()->type_name("");
    AddConversion(command, options.conversion);
    command->add_flag("--salvage", options.salvage, "Encode what a cut-off file still holds");
    AddPadding(command, options.padding);
    AddForce(command, options.force);
}

void AddSample(CLI::App& app, CommandLine& line) {
    SampleOptions& options = line.sample;
    CLI::App* command = app.add_subcommand("sample", "Create a test file: a chord, note by note");
    OnCommand(command, line, SampleCommand, options);
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

void AddPlot(CLI::App& app, CommandLine& line) {
    PlotOptions& options = line.plot;
    CLI::App* command = app.add_subcommand("plot", "Plot the waveform and spectrogram of any audio file");
    OnCommand(command, line, PlotCommand, options);
    command->add_option("IN", options.input, "Wave64, WAV, RF64, AIFF, FLAC, CAF ...")
        ->required()
        ->type_name("");
    command->add_option("-o,--output", options.output, "A .png file; default: one next to IN")
        ->type_name("OUT");
    command
        ->add_option_function<std::string>(
            "--size", [&options](const std::string& size) { options.size = ParseSize(size); },
            "Pixels, 640x400 to 8000x4000")
        ->type_name("WxH")
        ->default_str("1600x900");
    command->add_option("--floor", options.floor, "The level that is drawn black, in dBFS, -220 to -60")
        ->check(CLI::Range(-220.0, -60.0).description(""))
        ->type_name("DB")
        ->capture_default_str();
    AddForce(command, options.force);
    command->footer(std::string(kAboutPlot) + kAlso);
}

// Options of the whole program may follow a command.
std::string NoOption(const std::string& argument, const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* app = &command; app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return NoSuch("option", argument.substr(0, argument.find('=')), names, command);
}

// A missing argument is often there, but mistyped.
std::string Explanation(const CLI::App& app, const CLI::Error& error) {
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) command = command->get_subcommands()[0];
    if (std::string mistyped = MistypedCommand(*command); !mistyped.empty()) return mistyped;
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const auto unknown = app.remaining(true);
    if (!unknown.empty() && (code == CLI::ExitCodes::ExtrasError || code == CLI::ExitCodes::RequiredError)) {
        if (unknown[0].starts_with('-')) return NoOption(unknown[0], *command);
        if (command == &app) return NoCommand(unknown[0], app);
    }
    return std::string(error.what()) + "; see " + TitleOf(*command) + " --help";
}

bool ShowHelp(const CLI::App& app, const std::vector<std::string>& names) {
    const CLI::App* command = &app;
    for (const std::string& name : names) {
        const auto found = command->get_subcommands([&](auto* each) { return each->get_name() == name; });
        if (found.empty()) throw UsageError(NoCommand(name, *command));
        command = found[0];
    }
    std::cout << app.get_formatter()->make_help(command, TitleOf(*command), CLI::AppFormatMode::Normal);
    FlushStandardOutput();
    return true;
}

void AddHelp(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("help", "Show help on a command");
    command->add_option("COMMAND", line.help, "A command, as \"tags set\"")->type_name("");
    command->final_callback(
        [&app, &line] { line.run = [&app, &line](Console&) { return ShowHelp(app, line.help); }; });
}

void Describe(CLI::App& app, CommandLine& line) {
    app.require_subcommand(1);
    app.get_formatter()->label("REQUIRED", "");
    app.fallthrough();  // options of the whole program may follow the command
    app.set_version_flag("--version", "w64 " W64_VERSION);
    app.add_flag("-q,--quiet", line.quiet, "Show errors only");
    app.add_option("--trace", line.trace, "Log the decoder's work to FILE, - for standard error")
        ->type_name("FILE");
    app.add_option("--plugin", line.plugin,
                   "The decoder plug-in to use, a file or a folder with w64.dll;\n"
                   "default: that of W64_PLUGIN, else the one next to w64")
        ->envname("W64_PLUGIN")
        ->option_text("PLACE");
    app.footer(kAlso);  // inherited by the commands

    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return "w64: " + Explanation(*failed, error) + "\n";
    });
    AddDecode(app, line);
    AddInfo(app, line);
    AddChunks(app, line);
    AddCheck(app, line);
    AddRepair(app, line);
    AddMD5(app, line);
    AddCompare(app, line);
    AddTags(app, line);
    AddOptions(app, line);
    AddEncode(app, line);
    AddSample(app, line);
    AddPlot(app, line);
    AddHelp(app, line);
    app.footer(kExamples);
}

// If one of them is closed at the start, the first file opened gets its number, and messages go into that file.
// The stand-ins fail on use.
void OccupyStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) >= 0) continue;
        // open returns the lowest free descriptor.
        [[maybe_unused]] const int standIn =
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int ExitStatus(const CommandLine& line) {
    Interrupt::Install();
    Console console({.quiet = line.quiet, .statusLine = line.trace != "-"});
    try {
        const bool allDone = line.run(console);
        if (Interrupt::Signal() != 0) return kSignalled + Interrupt::Signal();
        return allDone ? 0 : kFileFailed;
    } catch (const UsageError& error) {
        console.Error("", error.what());
        return kWrongUsage;
    } catch (const std::exception& error) {
        console.Error("", error.what());
        return kFileFailed;
    }
}

}  // namespace

}  // namespace w64

using namespace w64;

int main(int argc, char** argv) try {
    OccupyStandardStreams();
    CommandLine line;
    CLI::App app("Decode, inspect, tag and create Wave64 audio files.", "w64");
    Describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0) return kWrongUsage;
        FlushStandardOutput();
        return 0;
    }
    return ExitStatus(line);
} catch (const std::exception& error) {
    std::fprintf(stderr, "w64: %s\n", error.what());
    return kFileFailed;
}
