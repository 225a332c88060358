#include "host/terminal/Console.h"

#include "base/XFile.h"
#include "base/XStr.h"
#include "host/terminal/Terminal.h"

#include <algorithm>
#include <new>
#include <sstream>
#include <unistd.h>

namespace w64 {

namespace {

void Put(std::string_view text) {
    XFile standardError;
    standardError.Open(reinterpret_cast<void*>(intptr_t{STDERR_FILENO}));
    // Nowhere is left to report a failure.
    [[maybe_unused]] const bool written = standardError.Write(text.data(), text.size());
}

}  // namespace

std::string Visible(std::string_view text) {
    XStr visible = FromUTF8(text);
    const auto isControl = [](wchar_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); };
    std::ranges::replace_if(visible, isControl, L'?');
    return ToUTF8(visible);
}

std::string VisibleLines(const std::string& text, size_t indent) {
    std::string all;
    std::istringstream lines(text);
    lines.exceptions(std::ios::badbit);  // when memory runs out
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        all += (all.empty() ? "" : "\n" + std::string(indent, ' ')) + Visible(line);
    }
    return all;
}

Console::Console(Options options)
    : quiet_(options.quiet),
      statusLine_(options.statusLine && !options.quiet && ::isatty(STDERR_FILENO) == 1) {}

Console::~Console() { ClearStatus(); }

void Console::Error(const std::string& subject, std::string_view message) { Print(subject, message); }

void Console::Note(const std::string& subject, std::string_view message) {
    if (quiet_) return;
    {
        const std::lock_guard lock(access_);
        if (const auto held = held_.find(subject); held != held_.end()) {
            held->second.notes.emplace_back(message);
            return;
        }
    }
    Print(subject, message);
}

void Console::HoldNotes(const std::string& subject) {
    const std::lock_guard lock(access_);
    ++held_[subject].times;
}

void Console::ReleaseNotes(const std::string& subject) {
    std::vector<std::string> notes;
    {
        const std::lock_guard lock(access_);
        const auto held = held_.find(subject);
        notes.swap(held->second.notes);
        if (--held->second.times == 0) held_.erase(held);
    }
    for (const std::string& note : notes) Print(subject, note);
}

void Console::Rename(std::string file, std::string name) {
    names_.insert_or_assign(std::move(file), std::move(name));
}

std::string Console::NameOf(const std::string& file) const {
    const auto found = names_.find(file);
    return found == names_.end() ? file : found->second;
}

void Console::Summary(std::string_view subject, std::string_view text) {
    if (!statusLine_) return;
    const std::lock_guard lock(access_);
    EraseStatus();
    Put(Visible(subject) + "  " + Visible(text) + "\n");
}

void Console::ShowStatus(const std::string& line) {
    if (!statusLine_) return;
    const std::lock_guard lock(access_);
    std::string text = "\r";
    text += Visible(line);
    text += "\x1B[K";  // clears what is left of a longer line
    Put(text);
    statusShown_ = true;
}

void Console::ClearStatus() {
    const std::lock_guard lock(access_);
    EraseStatus();
}

size_t Console::Columns() { return TerminalColumns(STDERR_FILENO).value_or(80); }

void Console::Print(const std::string& subject, std::string_view message) try {
    const std::lock_guard lock(access_);
    EraseStatus();
    std::string text;
    while (!message.empty()) {
        const size_t end = std::min(message.find('\n'), message.size());
        text += "w64: ";
        if (!subject.empty()) text.append(Visible(NameOf(subject))).append(": ");
        text.append(Visible(message.substr(0, end))).append("\n");
        message.remove_prefix(std::min(end + 1, message.size()));
    }
    Put(text);
} catch (const std::bad_alloc&) {
    Put("w64: not enough memory\n");
}

void Console::EraseStatus() {
    if (statusShown_) Put("\r\x1B[K");
    statusShown_ = false;
}

}  // namespace w64
