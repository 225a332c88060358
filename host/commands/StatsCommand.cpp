#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commandline/StreamInput.h"
#include "host/commands/Commands.h"
#include "host/commands/ReadFrames.h"
#include "host/files/TempFile.h"
#include "host/formats/Speakers.h"
#include "host/measure/AudioMeter.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

namespace w64 {

namespace {

constexpr const char* kAboutStats =
    "Peaks and RMS are in dB below full scale, a square wave; a sine at full scale has an\n"
    "RMS of -3.01. The true peak counts the waveform between the samples too. Clipped runs\n"
    "are 3 or more samples in a row at full scale. Silence is below -60 dBFS. Loudness is\n"
    "by EBU R 128: the speakers decide how much a channel counts, and low frequencies do\n"
    "not. If a file is cut off, what is there is measured, and the exit code is 1.\n\n"
    "  w64 stats song.w64\n"
    "  w64 stats --json archive/*.w64 > stats.json\n"
    "  sox song.wav -t wav - trim 1:30 | w64 stats -\n\n";

struct StatsOptions {
    std::vector<std::string> inputs;
    bool json = false;
    unsigned jobs = 1;
};

// One file and what is measured of it.
struct MeasuredFile {
    std::string name;
    const XAudioWFX& format;
    AudioMeasures measures;
};

double Decibels(double amplitude) { return 20 * std::log10(amplitude); }

// Infinities become null.
double Rounded(double value) { return std::round(value * 1000) / 1000; }

Json Describe(const SampleMeasures& measures) {
    return {{"samplePeak", Rounded(Decibels(measures.peak))},
            {"truePeak", Rounded(Decibels(measures.truePeak))},
            {"rms", Rounded(Decibels(measures.rms))},
            {"dc", std::round(measures.dc * 1e9) / 1e9},
            {"clippedRuns", measures.clippedRuns},
            {"clippedSamples", measures.clippedSamples},
            {"silenceAtStart", measures.silenceAtStart},
            {"silenceAtEnd", measures.silenceAtEnd}};
}

void Describe(const MeasuredFile& file, Json& json) {
    const AudioMeasures& measures = file.measures;
    json["format"] = DescribeFormat(file.format);
    json["rate"] = file.format.SamplesPerSec();
    json["frames"] = measures.frames;
    json["integratedLoudness"] = nullptr;
    json["momentaryMax"] = nullptr;
    json["loudnessRange"] = nullptr;
    if (const auto& loudness = measures.loudness) {
        json["integratedLoudness"] = Rounded(loudness->integrated);
        json["momentaryMax"] = Rounded(loudness->momentaryMax);
        if (loudness->range) json["loudnessRange"] = Rounded(*loudness->range);
    }
    json.update(Describe(measures.all));
    const std::vector<std::string> names = ChannelNames(file.format);
    json["channels"] = Json::array();
    for (size_t i = 0; i < names.size(); ++i) {
        Json& channel = json["channels"].emplace_back(Json{{"name", names[i]}});
        channel.update(Describe(measures.channels[i]));
    }
}

std::string LoudnessInWords(const MeasuredFile& file) {
    const auto& loudness = file.measures.loudness;
    if (!Loudness::Takes(file.format)) return "not measured at this rate and number of channels";
    if (!loudness) return "not measured, as the audio is shorter than 400 ms";
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%.1f LUFS, momentary max %.1f LUFS", loudness->integrated,
                  loudness->momentaryMax);
    std::string words = text.data();
    if (!loudness->range) return words;
    std::snprintf(text.data(), text.size(), ", range %.1f LU", *loudness->range);
    return words + text.data();
}

void PrintRow(std::ostream& out, const std::string& name, size_t nameWidth, const SampleMeasures& measures,
              double rate) {
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), "%8.2f%11.2f%9.2f%11.6f%9lld%10.3f%9.3f\n",
                  Decibels(measures.peak), Decibels(measures.truePeak), Decibels(measures.rms), measures.dc,
                  static_cast<long long>(measures.clippedRuns),
                  static_cast<double>(measures.silenceAtStart) / rate,
                  static_cast<double>(measures.silenceAtEnd) / rate);
    out << "  " << std::left << std::setw(static_cast<int>(nameWidth)) << name << text.data();
}

void Print(const MeasuredFile& file, std::ostream& out) {
    const AudioMeasures& measures = file.measures;
    const double rate = file.format.SamplesPerSec();
    const double milliseconds = static_cast<double>(measures.frames) / rate * 1000;
    out << Visible(file.name) << "\n  Format    " << DescribeFormat(file.format) << "\n  Duration  "
        << FormatDuration(std::llround(milliseconds)) << " (" << Counted(measures.frames, "frame") << ")"
        << "\n  Loudness  " << LoudnessInWords(file) << "\n";
    const std::vector<std::string> names = ChannelNames(file.format);
    const size_t width = std::ranges::max_element(names, {}, &std::string::size)->size();
    out << std::string(width + 2, ' ') << "    Peak  True peak      RMS  DC offset  Clipped   Silence (s)\n"
        << std::string(width + 2, ' ')
        << "    dBFS       dBTP     dBFS                runs     start      end\n";
    for (size_t i = 0; i < names.size(); ++i) PrintRow(out, names[i], width, measures.channels[i], rate);
    if (names.size() > 1) PrintRow(out, "all", width, measures.all, rate);
}

bool StatsCommand(const StatsOptions& options, CommandContext context) {
    const std::vector<std::string>& names = options.inputs;
    Progress progress(context.console, names[0], static_cast<int>(names.size()));
    return ReportOnFiles(
        names, options.json, options.jobs, context.console, [&](size_t i, std::ostream& out, Json* json) {
            FrameReader reader(names[i], TempFile::SharedFolder(), context);
            Progress::Share share(progress, reader.ExpectedFrames());
            AudioMeter meter(reader.Format());
            ReadFrames(reader, names[i], share, context.console, [&](auto frames) { meter.Add(frames); });
            const std::string complaint = reader.Complaint();
            const MeasuredFile file = {context.console.NameOf(names[i]), reader.Format(), meter.Measures()};
            if (file.measures.frames == 0) throw Failure(complaint.empty() ? "holds no audio" : complaint);
            if (json) {
                Describe(file, *json);
            } else {
                Print(file, out);
            }
            if (!complaint.empty()) throw Failure(complaint);
        });
}

}  // namespace

void AddStats(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<StatsOptions>();
    CLI::App* command = app.add_subcommand("stats", "Measure levels and loudness of any audio files");
    line.OnCommand(command, StatsCommand, options);
    AddAudioFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Audio);
    AddStandardInput(command, line, "FILE", options.inputs);
    AddJSON(command, options.json);
    AddJobs(command, options.jobs);
    SetFooter(command, std::string(kAboutStats) + kAboutStandardInput);
}

}  // namespace w64
