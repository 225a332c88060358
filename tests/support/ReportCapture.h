#pragma once

#include "interface/w64_decoder.h"

#include <array>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace w64 {

// Three report channels that remember what was written to them.
class ReportCapture {
public:
    ReportCapture() : files_{std::tmpfile(), std::tmpfile(), std::tmpfile()} {}
    ReportCapture(const ReportCapture&) = delete;
    ReportCapture& operator=(const ReportCapture&) = delete;
    ~ReportCapture() {
        for (std::FILE* file : files_) std::fclose(file);
    }

    STNStdReport Report() const { return {fileno(files_[0]), fileno(files_[1]), fileno(files_[2])}; }

    std::string Errors() const { return Text(files_[0]); }
    std::string Information() const { return Text(files_[1]); }
    std::string Trace() const { return Text(files_[2]); }

private:
    static std::string Text(std::FILE* file) {
        std::string text(static_cast<size_t>(::lseek(fileno(file), 0, SEEK_END)), '\0');
        const auto got = ::pread(fileno(file), text.data(), text.size(), 0);
        text.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return text;
    }

    std::array<std::FILE*, 3> files_;
};

}  // namespace w64
