#include "host/commandline/ReportOnFiles.h"

#include "base/XStr.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/StandardOutput.h"

#include <cctype>
#include <iostream>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

namespace w64 {

namespace {

// Prints texts in the order of their numbers, each when all before it are there.
// Threads: any.
class InOrder {
public:
    void Print(size_t number, std::string text) {
        const std::lock_guard lock(access_);
        waiting_[number] = std::move(text);
        for (auto next = waiting_.find(next_); next != waiting_.end(); next = waiting_.find(++next_)) {
            std::cout << next->second;
            waiting_.erase(next);
        }
    }

private:
    std::mutex access_;
    std::map<size_t, std::string> waiting_;
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
    InOrder output;
    const auto finish = [&](size_t i, std::ostringstream& text, const Json& json) {
        if (asJSON) {
            text << (i == 0 ? "\n" : ",\n") << json.dump(2, ' ', false, Json::error_handler_t::replace);
        }
        output.Print(i, text.str());
    };
    if (asJSON) std::cout << "[";
    const bool allDone = ForEachFile(files, jobs, console, [&](size_t i) {
        std::ostringstream text;
        Json json = NameInJSON(console.NameOf(files[i]));
        try {
            describe(i, text, asJSON ? &json : nullptr);
        } catch (const std::exception& failure) {
            json["error"] = failure.what();
            finish(i, text, json);
            throw;
        }
        finish(i, text, json);
    });
    if (asJSON) std::cout << "\n]\n";
    FlushStandardOutput();
    return allDone;
}

}  // namespace w64
