#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/formats/AudioReader.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <optional>
#include <span>
#include <sstream>

namespace w64 {

namespace {

constexpr const char* kAboutCompare =
    "Values are compared: the same samples in another container, or with more bits, are\n"
    "equal. If they differ, the first difference is shown, and the exit code is 1.\n\n";

struct CompareOptions {
    std::string first;
    std::string second;
};

// One of the two files, read at its own pace.
class Side {
public:
    Side(const std::string& name, const CommandContext& context) : name_(name), reader_(name, {}, context) {}

    const std::string& Name() const { return name_; }
    const XAudioWFX& Format() const { return reader_.Format(); }
    int64_t ExpectedFrames() const { return reader_.ExpectedFrames(); }

    std::string Complaint() const { return reader_.Complaint(); }

    // Samples that are not compared yet; empty at the end.
    std::span<const double> Ahead() {
        if (done_ < samples_.size()) return std::span(samples_).subspan(done_);
        ToDoubles(reader_.Read(), Format(), samples_);
        done_ = 0;
        return samples_;
    }
    void Pass(size_t samples) { done_ += samples; }

private:
    std::string name_;
    AudioReader reader_;
    std::vector<double> samples_;
    size_t done_ = 0;
};

bool AreEqual(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool AreOfOneType(const XAudioWFX& a, const XAudioWFX& b) {
    return a.WFXFormatTag() == b.WFXFormatTag() && a.BitsPerSample() == b.BitsPerSample();
}

// As the integer that is stored, or where both have no such form, as a fraction of full scale.
std::string Shown(double sample, const Side& side, const Side& other) {
    const int bits = side.Format().BitsPerSample();
    const bool isInteger =
        side.Format().WFXFormatTag() == kTagPCM && AreOfOneType(side.Format(), other.Format());
    std::ostringstream text;
    text << std::setprecision(17) << (isInteger ? std::round(std::ldexp(sample, bits - 1)) : sample);
    return text.str();
}

std::string FrameAt(int64_t frame, const XAudioWFX& format) {
    const double milliseconds = 1000.0 * static_cast<double>(frame) / format.SamplesPerSec();
    return "frame " + Grouped(frame) + " (" + FormatDuration(std::llround(milliseconds)) + ")";
}

// What makes a comparison of samples pointless; else empty.
std::string DifferenceOfFormats(const Side& a, const Side& b) {
    if (a.Format().Channels() == b.Format().Channels() &&
        a.Format().SamplesPerSec() == b.Format().SamplesPerSec()) {
        return "";
    }
    return "different formats: " + DescribeFormat(a.Format()) + " and " + DescribeFormat(b.Format());
}

// Empty if the audio is the same, whose frames are then counted.
std::string FirstDifference(Side& a, Side& b, int64_t& frames, Progress::Share& share) {
    const auto channels = static_cast<size_t>(a.Format().Channels());
    for (;;) {
        Interrupt::Check();
        const auto left = a.Ahead();
        const auto right = b.Ahead();
        const size_t count = std::min(left.size(), right.size());
        const auto common = left.first(count);
        const auto at = static_cast<size_t>(std::ranges::mismatch(common, right.first(count), AreEqual).in1 -
                                            common.begin());
        if (at < count) {
            return "first difference at " +
                   FrameAt(frames + static_cast<int64_t>(at / channels), a.Format()) + ", channel " +
                   std::to_string(at % channels + 1) + ": " + Shown(left[at], a, b) + " and " +
                   Shown(right[at], b, a);
        }
        if (count == 0) {
            if (left.empty() && right.empty()) return "";
            const Side& shorter = left.empty() ? a : b;
            return Visible(shorter.Name()) + " ends at " + FrameAt(frames, a.Format()) +
                   ", the other goes on";
        }
        const auto done = static_cast<int64_t>(count / channels);
        share.Advance(done, static_cast<double>(done) / a.Format().SamplesPerSec());
        frames += done;
        a.Pass(count);
        b.Pass(count);
    }
}

std::string DescribeSame(const Side& a, const Side& b, int64_t frames) {
    const std::string types =
        AreOfOneType(a.Format(), b.Format())
            ? ""
            : "; of other types: " + DescribeFormat(a.Format()) + " and " + DescribeFormat(b.Format());
    return "the audio is the same, " + Counted(frames, "frame") + types;
}

bool CompareCommand(const CompareOptions& options, CommandContext context) {
    const std::vector<std::string> names = {options.first, options.second};
    const auto forBoth = [&](const std::function<void(size_t)>& work) {
        return ForEachFile(names, 1, context.console, work);
    };
    std::optional<Side> sides[2];
    if (!forBoth([&](size_t i) { sides[i].emplace(names[i], context); })) return false;
    Side& a = *sides[0];
    Side& b = *sides[1];
    std::string difference = DifferenceOfFormats(a, b);
    int64_t frames = 0;
    if (difference.empty()) {
        Progress progress(context.console, names[0], 1);
        Progress::Share share(progress, a.ExpectedFrames());
        const bool isRead = ForEachFile(std::span(names).first(1), 1, context.console,
                                        [&](size_t) { difference = FirstDifference(a, b, frames, share); });
        if (!isRead) return false;
    }
    const bool areWhole = forBoth([&](size_t i) {
        const std::string complaint = sides[i]->Complaint();
        if (!complaint.empty()) throw Failure(complaint);
    });
    if (!areWhole) return false;
    std::cout << (difference.empty() ? DescribeSame(a, b, frames) : difference) << "\n";
    return difference.empty();
}

}  // namespace

void AddCompare(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<CompareOptions>();
    CLI::App* command = app.add_subcommand("compare", "Compare the audio of two files of any kind");
    line.OnCommand(command, CompareCommand, options);
    command->add_option("A", options.first, "An audio file")->required()->type_name("");
    command->add_option("B", options.second, "Another one")->required()->type_name("");
    SetFooter(command, kAboutCompare);
}

}  // namespace w64
