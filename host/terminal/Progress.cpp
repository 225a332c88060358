#include "host/terminal/Progress.h"

#include "base/XStr.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace w64 {

namespace {

// Keeps the end of a long name, which is where names usually differ.
std::string Shortened(const std::string& name) {
    constexpr size_t kMaxLength = 32;  // characters
    const XStr characters = FromUTF8(name);
    if (characters.size() <= kMaxLength) return name;
    return "..." + ToUTF8(characters.substr(characters.size() - kMaxLength + 3));
}

std::string Percent(double share) {
    const std::string number = std::to_string(static_cast<int>(share * 100));
    return std::string(3 - number.size(), ' ') + number + "%";
}

// Fills what `used` characters leave of the line; empty when that is too little to be of use.
std::string Bar(double share, size_t columns, size_t used) {
    constexpr size_t kFrame = 8;  // brackets, gaps, and the last column, which would wrap
    constexpr size_t kMinWidth = 8;
    constexpr size_t kMaxWidth = 40;
    if (columns < used + kFrame + kMinWidth) return "";
    const size_t width = std::min(columns - used - kFrame, kMaxWidth);
    const auto filled = static_cast<size_t>(share * static_cast<double>(width));
    std::string bar = std::string(filled, '=') + ">";
    bar.resize(width, ' ');
    return "[" + bar + "] ";
}

}  // namespace

Progress::Progress(Console& console, const std::string& file, int files)
    : console_(console), name_(std::filesystem::path(console.NameOf(file)).filename()), files_(files) {}

Progress::Share::Share(Progress& progress, int64_t work) : progress_(progress), work_(work) {
    progress_.work_ += work;
}

Progress::Share::~Share() {
    Expect(done_);
    ++progress_.filesDone_;
}

void Progress::Share::Expect(int64_t work) {
    progress_.work_ += work - work_;
    work_ = work;
}

void Progress::Share::Advance(int64_t work, double audioSeconds) {
    done_ += work;
    audioSeconds_ += audioSeconds;
    progress_.done_ += work;
    progress_.audioMicroseconds_ += std::llround(audioSeconds * 1e6);
    progress_.DrawSometimes();
}

std::string Progress::Share::Outcome() const {
    const double took = std::chrono::duration<double>(Clock::now() - start_).count();
    return FormatDuration(std::llround(audioSeconds_ * 1000)) + ", " + FormatSpeed(audioSeconds_ / took);
}

void Progress::DrawSometimes() {
    if (!console_.HasStatusLine()) return;
    const std::unique_lock lock(drawing_, std::try_to_lock);
    const auto now = Clock::now();
    if (!lock || now - drawn_ < std::chrono::milliseconds(100)) return;
    drawn_ = now;
    console_.ShowStatus(Line());
}

std::string Progress::Line() const {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    const auto work = std::max(static_cast<double>(work_), 1.0);
    const double share = std::clamp(static_cast<double>(done_) / work, 0.0, 1.0);
    const double left = share > 0 ? seconds / share - seconds : 0;
    const double speed = static_cast<double>(audioMicroseconds_) / 1e6 / seconds;

    const std::string before = files_ == 1
                                   ? Shortened(name_)
                                   : std::to_string(filesDone_) + " of " + std::to_string(files_) + " files";
    const std::string after =
        Percent(share) + "  " + (speed > 0 ? FormatSpeed(speed) + "  " : "") + FormatMinutes(left) + " left";
    const std::string line =
        before + "  " + Bar(share, Console::Columns(), before.size() + after.size()) + after;
    // A line that wraps cannot be redrawn.
    return line.size() < Console::Columns() ? line : after.substr(0, Console::Columns() - 1);
}

}  // namespace w64
