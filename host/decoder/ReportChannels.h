#pragma once

#include "host/decoder/ReportPipe.h"
#include "interface/w64_decoder.h"

#include <string>
#include <vector>

namespace w64 {

// What a component of the plug-in reports, kept in memory.
class ReportChannels {
public:
    // The trace goes on to `traceDescriptor`; 0 for none.
    explicit ReportChannels(int traceDescriptor) : traceDescriptor_(traceDescriptor) {}

    STNStdReport Report() const { return {error_.Input(), information_.Input(), traceDescriptor_}; }

    // The lines so far, without line ends and the routine's name in brackets, each text once. A damaged file can
    // cause endless repetition, so only the beginning is read.
    std::vector<std::string> Errors() const { return Lines(error_.Beginning()); }
    std::vector<std::string> Notes() const { return Lines(information_.Beginning()); }

private:
    static std::vector<std::string> Lines(std::string text);

    mutable ReportPipe error_;  // reading takes the text out of the pipe
    mutable ReportPipe information_;
    int traceDescriptor_;
};

// One line per text.
std::string JoinLines(const std::vector<std::string>& lines);

}  // namespace w64
