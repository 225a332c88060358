#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/OutputNames.h"
#include "host/commands/Commands.h"
#include "host/commands/ReadFrames.h"
#include "host/files/JournalledEdit.h"
#include "host/files/OutputFile.h"
#include "host/formats/FrameReader.h"
#include "host/formats/Speakers.h"
#include "host/plot/Envelope.h"
#include "host/plot/PlotPicture.h"
#include "host/plot/Spectrogram.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAboutPlot =
    "The waveform has a lane for each channel, or one for all if there are more than 8:\n"
    "peaks in pale blue, RMS in dark blue. The spectrogram below is the mean over all\n"
    "channels; a full-scale sine in all of them is at 0 dBFS.\n\n";

struct PlotOptions {
    std::vector<std::string> inputs;
    std::string output;  // a file, an existing folder, or empty for a name next to each input
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
    PictureSize size;
    double floor = -120;  // of the spectrogram, in dBFS
    bool byOctaves = false;
    bool force = false;
    unsigned jobs = 1;
};

constexpr int kMaxChannels = 1024;  // bounds the memory
constexpr int kMaxLanes = 8;

// One lane per channel, or one for all if there are too many.
std::vector<std::string> LaneNames(const XAudioWFX& format) {
    if (format.Channels() > kMaxLanes) return {"all channels"};
    return ChannelNames(format);
}

// "0:01:30.000", or of a part "0:01:30.000 to 0:02:00.000".
std::string DescribeTimes(const PlotOptions& options, double start, double seconds) {
    const auto text = [](double time) { return FormatDuration(std::llround(time * 1000)); };
    const bool isPart = options.start || options.end;
    return isPart ? text(start) + " to " + text(start + seconds) : text(seconds);
}

std::string NothingToPlot(const PlotOptions& options) {
    return options.start ? "has no audio at --start or after it" : "holds no audio";
}

// A file that is cut off is drawn as far as it goes, and then reported.
void Plot(const std::string& input, const fs::path& target, const PlotOptions& options, unsigned threads,
          CommandContext context, Progress& progress) {
    FrameReader reader(input, target.parent_path(), context, {options.start, options.end});
    const XAudioWFX& format = reader.Format();
    if (format.Channels() > kMaxChannels) throw Failure("has too many channels: " + DescribeFormat(format));
    RefuseToReplaceInput(input, target);
    OutputFile output(target, options.force);

    const std::vector<std::string> lanes = LaneNames(format);
    const PlotLayout layout(options.size, lanes.size());
    const auto columns = static_cast<size_t>(layout.Spectrogram().width);
    const auto rows = static_cast<size_t>(layout.Spectrogram().height);
    const double rate = format.SamplesPerSec();
    const FrequencyScale scale(rate / 2, options.byOctaves);
    Envelope envelope(format.Channels(), lanes.size() == 1, columns);
    Spectrogram spectrogram(
        {format.Channels(), rows, columns, options.floor, reader.ExpectedFrames(), scale, threads});
    Progress::Share share(progress, reader.ExpectedFrames());
    ReadFrames(reader, input, share, context.console, [&](std::span<const double> frames) {
        envelope.Add(frames);
        spectrogram.Add(frames);
    });
    spectrogram.Finish();
    const std::string complaint = reader.Complaint();
    if (envelope.Frames() == 0) throw Failure(complaint.empty() ? NothingToPlot(options) : complaint);

    const double start = static_cast<double>(reader.Start()) / rate;
    const double seconds = static_cast<double>(envelope.Frames()) / rate;
    const std::string details = DescribeFormat(format) + ", " + DescribeTimes(options, start, seconds);
    PlotPicture picture(layout, {Visible(fs::path(input).filename().native()), details, lanes, start, seconds,
                                 scale, options.floor});
    picture.Draw(envelope, spectrogram, threads);
    picture.WritePNG(output.File());
    output.Commit();
    context.console.Summary(target.native(), share.Outcome());
    if (!complaint.empty()) throw Failure(complaint);
}

bool PlotCommand(const PlotOptions& options, CommandContext context) {
    RefuseReversed(options.start, options.end);
    const std::vector<std::string>& inputs = options.inputs;
    const std::vector<fs::path> targets = OutputNames(inputs, options.output, ".png");
    for (const fs::path& target : targets) {
        if (target.extension() != ".png") throw UsageError("'" + options.output + "' should end in .png");
    }
    Progress progress(context.console, inputs[0], static_cast<int>(inputs.size()));
    const auto threads = static_cast<unsigned>(std::max<size_t>(options.jobs / inputs.size(), 1));
    return ForEachFile(inputs, options.jobs, context.console, [&](size_t i) {
        NoteInterruptedEdit(inputs[i], context.console);
        Plot(inputs[i], targets[i], options, threads, context, progress);
    });
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

}  // namespace

void AddPlot(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<PlotOptions>();
    CLI::App* command = app.add_subcommand("plot", "Plot the waveform and spectrogram of any audio file");
    line.OnCommand(command, PlotCommand, options);
    command->add_option("IN", options.inputs, "Wave64, WAV, RF64, AIFF, FLAC, CAF ...")
        ->required()
        ->type_name("");
    AddFolders(command, line, options.inputs, FilesInFolders::Audio);
    command->add_option("-o,--output", options.output, "A .png file or a folder; default: a .png next to IN")
        ->type_name("OUT");
    AddRange(command, options.start, options.end);
    command->add_flag("--log", options.byOctaves, "Logarithmic axis of frequencies, from 20 Hz");
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
    AddJobs(command, options.jobs, "Threads, for as many files at the same time or for fewer");
    SetFooter(command, std::string(kAboutPlot) + kAboutPlaces);
}

}  // namespace w64
