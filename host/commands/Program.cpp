#include "host/commands/Program.h"

#include "host/commandline/Arguments.h"
#include "host/commandline/Mistakes.h"
#include "host/commands/Commands.h"
#include "host/decoder/ReportPipe.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/StandardOutput.h"
#include "host/terminal/TraceFile.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace w64 {

namespace {

constexpr int kFileFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kSignalled = 128;  // plus the signal, as in shells

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
  w64 repair broken.w64                 make a damaged recording a sound file
  w64 copy song.w64 part.w64 --start 1:30 --end 2:00   without loss
  w64 copy first.w64 second.w64 all.w64 joined
  w64 split song.w64 --every 30m        in parts, without loss
  w64 md5 song.w64 song.flac            whether an archived copy has the same audio
  w64 compare song.w64 song.flac        where their audio first differs
  w64 stats *.w64                       levels and loudness
  w64 tags set song.w64 "Title=The Song" Artist=Somebody
  w64 encode song.wav song.w64
  w64 sample test.w64 --channels 6
  w64 plot song.w64 -o song.png         waveform and spectrogram
  w64 report *.w64 -o report.html       a page with all of that to look at
)";

using Names = std::vector<std::string>;

void ShowHelp(const CLI::App& app, const Names& names) {
    const CLI::App* command = &app;
    for (const std::string& name : names) {
        const auto found = command->get_subcommands([&](auto* each) { return each->get_name() == name; });
        if (found.empty()) throw UsageError(NoCommand(name, *command));
        command = found[0];
    }
    std::cout << app.get_formatter()->make_help(command, TitleOf(*command), CLI::AppFormatMode::Normal);
}

void AddHelp(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("help", "Show help on a command");
    auto& names = line.Keep<Names>();
    command->add_option("COMMAND", names, "A command, as \"tags set\"")->type_name("");
    command->final_callback([&app, &line, &names] {
        line.work = [&app, &names](CommandContext) {
            ShowHelp(app, names);
            return true;
        };
    });
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
    SetFooter(&app, "");  // inherited by the commands

    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return "w64: " + Explanation(*failed, error) + "\n";
    });
    AddDecode(app, line);
    AddInfo(app, line);
    AddChunks(app, line);
    AddCheck(app, line);
    AddRepair(app, line);
    AddCopy(app, line);
    AddSplit(app, line);
    AddMD5(app, line);
    AddCompare(app, line);
    AddStats(app, line);
    AddTags(app, line);
    AddOptions(app, line);
    AddEncode(app, line);
    AddSample(app, line);
    AddPlot(app, line);
    AddReport(app, line);
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
    const ReportPipe::Reuse reuse;
    Console console({.quiet = line.quiet, .statusLine = line.trace != "-"});
    try {
        bool allDone = true;
        for (const auto& prepare : line.preparations) allDone = prepare(console) && allDone;
        const TraceFile trace(line.trace);
        allDone = line.work({console, trace.Descriptor(), line.plugin}) && allDone;
        FlushStandardOutput();
        if (Interrupt::Signal() != 0) return kSignalled + Interrupt::Signal();
        return allDone ? 0 : kFileFailed;
    } catch (const UsageError& error) {
        console.Error("", error.what());
        return kWrongUsage;
    } catch (const std::exception& error) {
        console.Error("", ReasonOf(error));
        return kFileFailed;
    }
}

// Libraries have functions that allocate and must not throw.
void EndWithoutMemory() {
    try {
        if (std::current_exception()) std::rethrow_exception(std::current_exception());
    } catch (const std::bad_alloc& error) {
        std::fprintf(stderr, "w64: %s\n", ReasonOf(error));
        std::_Exit(kFileFailed);
    } catch (...) {  // NOLINT(bugprone-empty-catch): a fault of the program
    }
    std::abort();
}

}  // namespace

int RunProgram(int argc, char** argv) try {
    std::set_terminate(EndWithoutMemory);
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
    std::fprintf(stderr, "w64: %s\n", ReasonOf(error));
    return kFileFailed;
}

}  // namespace w64
