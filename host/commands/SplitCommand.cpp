#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/FileCopy.h"
#include "host/files/OutputFile.h"
#include "host/formats/PartLayout.h"
#include "host/formats/Speakers.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <deque>
#include <filesystem>
#include <sstream>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAboutSplit =
    "The parts hold every frame once, untouched; w64 copy joins them again. Each has the\n"
    "tags and the other chunks of FILE, without those that hold places in the audio (markers,\n"
    "loops) or levels of it; a broadcast extension gets the time of the part. All parts\n"
    "appear when the last one is whole.\n\n"
    "D and PLACES are times, in seconds (90), with a unit (1h, 30m, 45s) or with colons\n"
    "(1:30, 1:02:03.5), or frames (12345f). SIZE is that of the files: kB, MB and GB are\n"
    "powers of 1000, KiB, MiB and GiB of 1024.\n\n"
    "In PATTERN, {name} stands for the name of FILE without .w64, and {n} for the number of\n"
    "the part, 001 ..., or for the channel: front-left ..., or its number.\n\n"
    "  w64 split long.w64 --every 1h\n"
    "  w64 split long.w64 --size 4GB -o 'parts/{name}-{n}.w64'\n\n";

struct SplitOptions {
    std::vector<std::string> inputs;
    std::optional<TimePoint> every;
    std::optional<int64_t> size;
    std::vector<TimePoint> at;
    bool channels = false;
    std::string pattern;  // empty for names next to each input
    bool force = false;
};

// "4GB", "1.5 GiB", "700000000"
int64_t ParseBytes(const std::string& text) {
    constexpr double k = 1000;
    constexpr double Ki = 1024;
    constexpr std::pair<const char*, double> kUnits[] = {
        {"", 1},           {"B", 1},    {"kB", k},        {"MB", k * k},
        {"GB", k * k * k}, {"KiB", Ki}, {"MiB", Ki * Ki}, {"GiB", Ki * Ki * Ki}};
    double number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    std::string unit(rest, text.data() + text.size());
    if (unit.starts_with(' ')) unit.erase(0, 1);
    for (const auto& [name, bytes] : kUnits) {
        if (error == std::errc() && unit == name && number > 0 && number < 1e9) {
            return static_cast<int64_t>(number * bytes);
        }
    }
    throw CLI::ValidationError("'" + text + "' is not a size (4GB, 650MiB)");
}

int64_t FramesThatFit(int64_t bytes, const PartLayout& layout) {
    const int64_t audioBytes = (bytes - layout.FileBytes(0)) / 8 * 8;
    const int64_t frames = audioBytes / layout.FrameBytes();
    if (frames > 0) return frames;
    throw Failure("a file of " + Counted(bytes, "byte") +
                  " holds no audio: its headers and tags alone take " + Counted(layout.FileBytes(0), "byte"));
}

int64_t FramesOfPart(const SplitOptions& options, const Recording& recording, const PartLayout& layout) {
    const int64_t frames = options.size    ? FramesThatFit(*options.size, layout)
                           : options.every ? options.every->Frame(recording.Format().SamplesPerSec())
                                           : recording.Frames();
    if (frames == 0) throw Failure("a part should have at least one frame");
    return frames;
}

std::vector<FrameRange> PartsOf(const SplitOptions& options, const Recording& recording,
                                const PartLayout& layout) {
    constexpr size_t kMaxParts = 10'000;
    const int64_t total = recording.Frames();
    std::vector<int64_t> ends;
    for (const TimePoint& place : options.at) {
        ends.push_back(place.Frame(recording.Format().SamplesPerSec()));
        const bool ascends = ends.back() > (ends.size() == 1 ? 0 : ends[ends.size() - 2]);
        if (!ascends) throw Failure("the places of --at should ascend, from above 0");
        if (ends.back() >= total)
            throw Failure("--at is at or past the end: the audio has " + Counted(total, "frame"));
    }
    const int64_t step = FramesOfPart(options, recording, layout);
    std::vector<FrameRange> parts;
    for (int64_t start = 0; start < total; start += parts.back().frames) {
        if (parts.size() == kMaxParts) throw Failure("would have more than " + Grouped(kMaxParts) + " parts");
        const int64_t end = parts.size() < ends.size() ? ends[parts.size()] : total;
        parts.push_back({start, std::min(step, end - start)});
    }
    if (parts.empty()) throw Failure("has no audio");
    return parts;
}

// "front-left", or the number of the channel where the speakers are not known.
std::vector<std::string> NamesOfChannels(const XAudioWFX& format) {
    const auto channels = static_cast<size_t>(format.Channels());
    std::vector<std::string> names = SpeakerNames(ChannelMaskOf(format));
    if (names.size() != channels) names.clear();
    if (names.empty() && channels == 2) names = {"left", "right"};
    for (std::string& name : names) std::ranges::replace(name, ' ', '-');
    while (names.size() < channels) names.push_back(std::to_string(names.size() + 1));
    return names;
}

std::vector<std::string> NumbersOf(size_t parts) {
    constexpr size_t kMinDigits = 3;
    const size_t digits = std::max(kMinDigits, std::to_string(parts).size());
    std::vector<std::string> numbers;
    for (size_t i = 1; i <= parts; ++i) {
        const std::string number = std::to_string(i);
        numbers.push_back(std::string(digits - number.size(), '0') + number);
    }
    return numbers;
}

fs::path Filled(const std::string& pattern, const std::string& name, const std::string& number) {
    std::string path;
    for (size_t i = 0; i < pattern.size();) {
        const std::string_view rest = std::string_view(pattern).substr(i);
        const bool isName = rest.starts_with("{name}");
        const bool isNumber = rest.starts_with("{n}");
        path += isName ? name : isNumber ? number : std::string(1, pattern[i]);
        i += isName ? 6 : isNumber ? 3 : 1;
    }
    return path;
}

class Split {
public:
    Split(const std::string& input, const SplitOptions& options, Console& console, Progress& progress)
        : options_(options), console_(console), recording_(input),
          layout_(recording_,
                  options.channels ? PartLayout::Kind::OneChannel : PartLayout::Kind::AllChannels),
          parts_(PartsOf(options, recording_, layout_)), names_(Names()),
          share_(progress, recording_.Frames() * recording_.FrameBytes()) {}

    void Run() {
        options_.channels ? WriteChannels() : WriteParts();
        for (OutputFile& output : outputs_) output.Commit();
        if (!layout_.LeftOut().empty()) console_.Note(recording_.Name(), layout_.NoteOfLeftOut());
        console_.Summary(recording_.Name(), Counted(outputs_.size(), "part"));
    }

private:
    // All are checked before anything is written.
    std::vector<fs::path> Names() const {
        const fs::path input = recording_.Name();
        const std::string pattern =
            options_.pattern.empty() ? (input.parent_path() / "{name}-{n}.w64").native() : options_.pattern;
        std::vector<fs::path> names;
        const auto numbers =
            options_.channels ? NamesOfChannels(recording_.Format()) : NumbersOf(parts_.size());
        for (const std::string& number : numbers) {
            names.push_back(Filled(pattern, input.stem().native(), number));
            RefuseToReplaceInput(input, names.back());
            OutputFile::RequireUsable(names.back(), options_.force);
        }
        return names;
    }

    void WriteParts() {
        const int64_t frameBytes = layout_.FrameBytes();
        InputFile file(recording_.Name());
        for (const FrameRange& part : parts_) {
            OutputFile& output = outputs_.emplace_back(names_[outputs_.size()], options_.force);
            layout_.Begin(output.File(), part);
            CopyRange(file, recording_.Audio().DataPosition() + part.start * frameBytes,
                      part.frames * frameBytes, output.File(),
                      [this](int64_t copied) { share_.Advance(copied); });
            layout_.End(output.File(), part);
            output.Close();
        }
    }

    void WriteChannels() {
        const FrameRange all = parts_.front();
        for (const fs::path& name : names_) {
            layout_.Begin(outputs_.emplace_back(name, options_.force).File(), all);
        }
        Deal(all.frames);
        for (OutputFile& output : outputs_) {
            layout_.End(output.File(), all);
            output.Close();
        }
    }

    // Gives every channel its samples.
    void Deal(int64_t frames) {
        const auto sampleBytes = static_cast<size_t>(layout_.FrameBytes());
        const auto frameBytes = static_cast<size_t>(recording_.FrameBytes());
        const auto framesPerBlock = std::max<int64_t>((1 << 20) / recording_.FrameBytes(), 1);
        std::vector<uint8_t> block(static_cast<size_t>(framesPerBlock) * frameBytes);
        std::vector<uint8_t> samples(static_cast<size_t>(framesPerBlock) * sampleBytes);
        InputFile file(recording_.Name());
        if (!file.SetPosition(recording_.Audio().DataPosition())) throw SystemFailure("cannot read the file");
        while (frames > 0) {
            Interrupt::Check();
            const auto count = static_cast<size_t>(std::min(frames, framesPerBlock));
            if (file.Read(block.data(), count * frameBytes) < count * frameBytes) {
                throw SystemFailure("cannot read the file");
            }
            const uint8_t* channel = block.data();
            for (OutputFile& output : outputs_) {
                for (size_t i = 0; i < count; ++i) {
                    std::memcpy(samples.data() + i * sampleBytes, channel + i * frameBytes, sampleBytes);
                }
                if (!output.File().Write(samples.data(), count * sampleBytes))
                    throw SystemFailure("cannot write");
                channel += sampleBytes;
            }
            share_.Advance(static_cast<int64_t>(count * frameBytes));
            frames -= static_cast<int64_t>(count);
        }
    }

    const SplitOptions& options_;
    Console& console_;
    const Recording recording_;
    const PartLayout layout_;
    const std::vector<FrameRange> parts_;
    const std::vector<fs::path> names_;
    Progress::Share share_;
    std::deque<OutputFile> outputs_;
};

void CheckPattern(const SplitOptions& options) {
    const auto has = [&options](const char* text) { return options.pattern.find(text) != std::string::npos; };
    if (options.pattern.empty()) return;
    if (!has("{n}")) throw UsageError("'" + options.pattern + "' should have {n}, the number of the part");
    if (options.inputs.size() > 1 && !has("{name}")) {
        throw UsageError("'" + options.pattern + "' should have {name}, as there are several files");
    }
    if (fs::path(options.pattern).extension() != ".w64") {
        throw UsageError("'" + options.pattern + "' should end in .w64");
    }
}

bool SplitCommand(const SplitOptions& options, CommandContext context) {
    const int ways = int{options.every.has_value()} + int{options.size.has_value()} +
                     int{!options.at.empty()} + int{options.channels};
    if (ways != 1) throw UsageError("give one of --every, --size, --at and --channels");
    CheckPattern(options);
    Progress progress(context.console, options.inputs[0], static_cast<int>(options.inputs.size()));
    return ForEachFile(options.inputs, 1, context.console,
                       [&](size_t i) { Split(options.inputs[i], options, context.console, progress).Run(); });
}

}  // namespace

void AddSplit(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<SplitOptions>();
    CLI::App* command = app.add_subcommand("split", "Split Wave64 files into parts without loss");
    line.OnCommand(command, SplitCommand, options);
    AddFiles(command, options.inputs);
    AddPlace(command, "--every", options.every, "The length of each part")->type_name("D");
    command
        ->add_option_function<std::string>(
            "--size", [&options](const std::string& text) { options.size = ParseBytes(text); },
            "The most bytes of each file")
        ->type_name("SIZE");
    command
        ->add_option_function<std::string>(
            "--at",
            [&options](const std::string& text) {
                std::istringstream places(text);
                for (std::string place; std::getline(places, place, ',');)
                    options.at.push_back(ParsePlace(place));
            },
            "Where parts begin, as 1:00,2:30")
        ->type_name("PLACES");
    command->add_flag("--channels", options.channels, "A mono file for every channel");
    command
        ->add_option("-o,--output", options.pattern,
                     "Names of the parts; default: {name}-{n}.w64 next to FILE")
        ->type_name("PATTERN");
    AddForce(command, options.force);
    SetFooter(command, kAboutSplit);
}

}  // namespace w64
