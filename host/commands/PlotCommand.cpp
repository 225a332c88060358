#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/FileName.h"
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
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

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
    std::string input;
    std::string output;  // empty for a name next to the input
    PictureSize size;
    double floor = -120;  // of the spectrogram, in dBFS
    bool force = false;
};

constexpr int kMaxChannels = 1024;  // bounds the memory
constexpr int kMaxLanes = 8;

// One lane per channel, or one for all if there are too many.
std::vector<std::string> LaneNames(const XAudioWFX& format) {
    const int channels = format.Channels();
    if (channels == 1) return {"mono"};
    if (channels > kMaxLanes) return {"all channels"};
    auto speakers = SpeakerNames(ChannelMaskOf(format));
    if (static_cast<int>(speakers.size()) == channels) return speakers;
    if (channels == 2) return {"left", "right"};
    std::vector<std::string> names;
    for (int i = 1; i <= channels; ++i) names.push_back("channel " + std::to_string(i));
    return names;
}

void ReadAll(FrameReader& reader, Envelope& envelope, Spectrogram& spectrogram, Progress::Share& share) {
    for (auto frames = reader.Read(); !frames.empty(); frames = reader.Read()) {
        Interrupt::Check();
        envelope.Add(frames);
        spectrogram.Add(frames);
        const auto count = static_cast<int64_t>(frames.size()) / reader.Format().Channels();
        share.Advance(count, static_cast<double>(count) / reader.Format().SamplesPerSec());
    }
    spectrogram.Finish();
}

// A file that is cut off is drawn as far as it goes, and then reported.
void Plot(const PlotOptions& options, const fs::path& target, CommandContext context, Progress& progress) {
    FrameReader reader(options.input, target.parent_path(), context);
    const XAudioWFX& format = reader.Format();
    if (format.Channels() > kMaxChannels) throw Failure("has too many channels: " + DescribeFormat(format));
    RefuseToReplaceInput(options.input, target);
    OutputFile output(target, options.force);

    const std::vector<std::string> lanes = LaneNames(format);
    const PlotLayout layout(options.size, lanes.size());
    const auto columns = static_cast<size_t>(layout.Spectrogram().width);
    const auto rows = static_cast<size_t>(layout.Spectrogram().height);
    Envelope envelope(format.Channels(), lanes.size() == 1, columns);
    Spectrogram spectrogram({format.Channels(), rows, columns, options.floor, reader.ExpectedFrames()});
    Progress::Share share(progress, reader.ExpectedFrames());
    ReadAll(reader, envelope, spectrogram, share);
    const std::string complaint = reader.Complaint();
    if (envelope.Frames() == 0) throw Failure(complaint.empty() ? "holds no audio" : complaint);

    const double rate = format.SamplesPerSec();
    const double seconds = static_cast<double>(envelope.Frames()) / rate;
    const std::string details = DescribeFormat(format) + ", " + FormatDuration(std::llround(seconds * 1000));
    PlotPicture picture(layout, {Visible(fs::path(options.input).filename().native()), details, lanes,
                                 seconds, rate / 2, options.floor});
    picture.Draw(envelope, spectrogram);
    picture.WritePNG(output.File());
    output.Commit();
    if (reader.NonFinite() > 0) {
        const char* are = reader.NonFinite() == 1 ? " is infinite or NaN" : " are infinite or NaN";
        context.console.Note(options.input, "note: " + Counted(reader.NonFinite(), "sample") + are);
    }
    context.console.Summary(target.native(), share.Outcome());
    if (!complaint.empty()) throw Failure(complaint);
}

bool PlotCommand(const PlotOptions& options, CommandContext context) {
    fs::path target = options.output;
    if (target.empty()) target = fs::path(options.input).replace_extension(".png");
    if (target.extension() != ".png") throw UsageError("'" + options.output + "' should end in .png");
    const std::vector<std::string> inputs = {options.input};
    Progress progress(context.console, fs::path(options.input).filename(), 1);
    return ForEachFile(inputs, 1, context.console, [&](size_t) {
        NoteInterruptedEdit(options.input, context.console);
        Plot(options, target, context, progress);
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
    SetFooter(command, kAboutPlot);
}

}  // namespace w64
