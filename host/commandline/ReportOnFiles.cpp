#include "host/commandline/ReportOnFiles.h"

#include "base/XStr.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"

#include <atomic>
#include <cctype>
#include <iostream>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

namespace w64 {

namespace {

struct Report {
    std::string text;
    std::string error;  // empty for none
};

// Prints reports and notes in the order of their files, each when all before it are there.
// Threads: any.
class InOrder {
public:
    InOrder(std::span<const std::string> files, Console& console) : files_(files), console_(console) {}

    void Begin(size_t file) { console_.HoldNotes(files_[file]); }

    void Print(size_t file, Report report) {
        const std::lock_guard lock(access_);
        waiting_[file] = std::move(report);
        for (auto next = waiting_.find(next_); next != waiting_.end(); next = waiting_.find(++next_)) {
            console_.ReleaseNotes(files_[next_]);
            std::cout << next->second.text;
            if (!next->second.error.empty()) console_.Error(files_[next_], next->second.error);
            waiting_.erase(next);
        }
    }

private:
    const std::span<const std::string> files_;
    Console& console_;
    std::mutex access_;
    std::map<size_t, Report> waiting_;
    size_t next_ = 0;
};

std::string PercentEscaped(std::string_view bytes) {
    constexpr std::string_view kPlain = "-._~/";
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = byte < 0x80 && (std::isalnum(byte) != 0 || kPlain.find(c) != kPlain.npos);
        escaped += isPlain ? std::string(1, c) : std::string{'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return escaped;
}

// A name that is not UTF-8 gets replacement characters, and is there in full besides.
Json NameInJSON(const std::string& name) {
    std::string text = ToUTF8(FromUTF8(name));
    if (text == name) return {{"file", name}};
    return {{"file", std::move(text)}, {"file_bytes", PercentEscaped(name)}};
}

}  // namespace

bool ReportOnFiles(std::span<const std::string> files, bool asJSON, Console& console,
                   const std::function<void(size_t, Json*)>& describe) {
    return ReportOnFiles(files, asJSON, 1, console,
                         [&](size_t i, std::ostream&, Json* json) { describe(i, json); });
}

bool ReportOnFiles(std::span<const std::string> files, bool asJSON, unsigned jobs, Console& console,
                   const std::function<void(size_t, std::ostream&, Json*)>& describe) {
    InOrder output(files, console);
    std::atomic<bool> allWell = true;
    if (asJSON) std::cout << "[";
    const bool allDone = ForEachFile(files, jobs, console, [&](size_t i) {
        output.Begin(i);
        std::ostringstream text;
        text.exceptions(std::ios::badbit);  // when memory runs out
        Json json;
        std::string error;
        if (asJSON) json = NameInJSON(console.NameOf(files[i]));
        try {
            describe(i, text, asJSON ? &json : nullptr);
        } catch (const std::exception& failure) {
            error = ReasonOf(failure);
            if (asJSON) json["error"] = error;
            allWell = false;
        }
        if (asJSON) {
            text << (i == 0 ? "\n" : ",\n") << json.dump(2, ' ', false, Json::error_handler_t::replace);
        }
        output.Print(i, {text.str(), error});
    });
    if (asJSON) std::cout << "\n]\n";
    return allDone && allWell;
}

}  // namespace w64
