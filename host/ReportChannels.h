#pragma once

#include "plugin/interface/w64_decoder.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

// What a component of the plug-in has to say, caught in unnamed files that vanish with the object.
class ReportChannels {
public:
    // The trace goes on to `traceDescriptor`; 0 for none.
    explicit ReportChannels(int traceDescriptor);

    STNStdReport Report() const;

    // The lines so far without line ends and the routine's name in brackets, each text once. A damaged file
    // can repeat itself for ever, so only the beginning is looked at.
    std::vector<std::string> Errors() const { return Lines(error_.get()); }
    std::vector<std::string> Notes() const { return Lines(information_.get()); }

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, CloseFile>;

    static File Unnamed();
    static std::vector<std::string> Lines(std::FILE* file);

    File error_;
    File information_;
    int traceDescriptor_;
};

// One line per text.
std::string JoinLines(const std::vector<std::string>& lines);
