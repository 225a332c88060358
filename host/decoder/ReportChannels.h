#pragma once

#include "host/decoder/ReportPipe.h"
#include "interface/w64_decoder.h"

#include <string>
#include <vector>

namespace w64 {

// What a component of the plug-in has to say, caught in memory.
class ReportChannels {
public:
    // The trace goes on to `traceDescriptor`; 0 for none.
    explicit ReportChannels(int traceDescriptor) : traceDescriptor_(traceDescriptor) {}

    STNStdReport Report() const { return {error_.Input(), information_.Input(), traceDescriptor_}; }

    // The lines so far without line ends and the routine's name in brackets, each text once. A damaged file
    // can repeat itself for ever, so only the beginning is looked at.
    std::vector<std::string> Errors() const { return Lines(error_.Beginning()); }
    std::vector<std::string> Notes() const { return Lines(information_.Beginning()); }

private:
    static std::vector<std::string> Lines(std::string text);

    mutable ReportPipe error_;  // to look at what is in them takes it out of the pipes
    mutable ReportPipe information_;
    int traceDescriptor_;
};

// One line per text.
std::string JoinLines(const std::vector<std::string>& lines);

}  // namespace w64
