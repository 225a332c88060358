#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/FileCopy.h"
#include "host/files/OutputFile.h"
#include "host/formats/PartLayout.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <span>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAboutCopy =
    "Trims and joins to the exact frame without touching a sample. A single file without\n"
    "START and END is copied byte for byte. Else the format, the tags and the other chunks\n"
    "are those of the first file, without those that hold places in the audio (markers,\n"
    "loops) or levels of it; a broadcast extension gets the time of the new start. Files\n"
    "of different formats are refused. MPEG audio can be copied whole only.\n\n";
constexpr const char* kCopyExamples = "  w64 copy take.w64 part.w64 --start 1:30 --end 2:00\n"
                                      "  w64 copy first.w64 second.w64 all.w64\n\n";

struct CopyOptions {
    std::vector<std::string> files;  // the last one is the output
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
    bool force = false;

    const std::string& Output() const { return files.back(); }
    std::span<const std::string> Inputs() const { return std::span(files).first(files.size() - 1); }
    bool IsOfPart() const { return start || end; }
};

using Recordings = std::deque<Recording>;

// Fewer than there are inputs if one fails.
Recordings OpenAll(const CopyOptions& options, CommandContext context) {
    Recordings recordings;
    const auto inputs = options.Inputs();
    const bool allDone = ForEachFile(inputs, 1, context.console, [&](size_t i) {
        RefuseToReplaceInput(inputs[i], options.Output());
        const Recording& recording = recordings.emplace_back(inputs[i]);
        if (recordings.front().Name() != inputs[0]) return;  // which has failed
        const std::string difference = recording.DifferenceTo(recordings.front());
        if (!difference.empty()) throw Failure("cannot be joined: " + difference);
    });
    return allDone ? std::move(recordings) : Recordings();
}

// The part of all the audio, joined, that is asked for.
FrameRange PartOf(const Recordings& recordings, const CopyOptions& options) {
    const uint32_t rate = recordings.front().Format().SamplesPerSec();
    int64_t frames = 0;
    for (const Recording& recording : recordings) frames += recording.Frames();
    const int64_t start = options.start ? options.start->Frame(rate) : 0;
    const int64_t end = options.end ? std::min(options.end->Frame(rate), frames) : frames;
    if (options.end && start > options.end->Frame(rate)) throw Failure("--start is after --end");
    if (start < end) return {start, end - start};
    if (start < frames) throw Failure("there is no audio between --start and --end");
    throw Failure(
        "--start is at or past the end: the audio lasts " +
        FormatDuration(
            XAudioWFX(recordings.front().Format()).CalcmsTime(frames * recordings.front().FrameBytes())) +
        " (" + Counted(frames, "frame") + ")");
}

class Copy {
public:
    Copy(const Recordings& recordings, const CopyOptions& options, CommandContext context)
        : recordings_(recordings), options_(options), console_(context.console),
          progress_(console_, options.Output(), 1) {}

    void Run() {
        OutputFile output(options_.Output(), options_.force);
        if (recordings_.size() == 1 && !options_.IsOfPart()) {
            CopyWhole(output.File());
        } else {
            CopyPart(output.File());
        }
        output.Commit();
    }

private:
    void CopyWhole(XFile& out) {
        InputFile file(recordings_.front().Name());
        Progress::Share share(progress_, file.Size());
        CopyBeginning(file, out, file.Size(), [&share](int64_t copied) { share.Advance(copied); });
    }

    void CopyPart(XFile& out) {
        const FrameRange part = PartOf(recordings_, options_);
        const PartLayout layout(recordings_.front(), PartLayout::Kind::AllChannels);
        Progress::Share share(progress_, part.frames * layout.FrameBytes());
        layout.Begin(out, part);
        CopyAudio(out, part, layout.FrameBytes(), share);
        layout.End(out, part);
        const std::string& first = recordings_.front().Name();
        if (!layout.LeftOut().empty()) console_.Note(first, layout.NoteOfLeftOut());
    }

    void CopyAudio(XFile& out, FrameRange part, int64_t frameBytes, Progress::Share& share) {
        for (const Recording& recording : recordings_) {
            const int64_t frames = std::clamp<int64_t>(recording.Frames() - part.start, 0, part.frames);
            if (frames > 0) {
                InputFile file(recording.Name());
                CopyRange(file, recording.Audio().DataPosition() + part.start * frameBytes,
                          frames * frameBytes, out, [&share](int64_t copied) { share.Advance(copied); });
            }
            part.start = std::max<int64_t>(part.start - recording.Frames(), 0);
            part.frames -= frames;
        }
    }

    const Recordings& recordings_;
    const CopyOptions& options_;
    Console& console_;
    Progress progress_;
};

bool CopyCommand(const CopyOptions& options, CommandContext context) {
    if (options.files.size() < 2) throw UsageError("give the files to copy and, last, the file to write");
    if (fs::path(options.Output()).extension() != ".w64") {
        throw UsageError("'" + options.Output() + "' should end in .w64");
    }
    const Recordings recordings = OpenAll(options, context);
    if (recordings.empty()) return false;
    const std::string output[] = {options.Output()};
    return ForEachFile(output, 1, context.console, [&](size_t) { Copy(recordings, options, context).Run(); });
}

}  // namespace

void AddCopy(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<CopyOptions>();
    CLI::App* command = app.add_subcommand("copy", "Copy, trim and join Wave64 files without loss");
    line.OnCommand(command, CopyCommand, options);
    command->add_option("FILE", options.files, "Those to copy and, last, the .w64 file to write")
        ->required()
        ->type_name("");
    AddRange(command, options.start, options.end);
    AddForce(command, options.force);
    SetFooter(command, std::string(kAboutCopy) + kAboutPlaces + kCopyExamples);
}

}  // namespace w64
