#pragma once

#include "host/files/Descriptor.h"

#include <string>

namespace w64 {

struct Pipe {
    Descriptor output;
    Descriptor input;
};

// Keeps what a component reports to a descriptor in memory, where no full disk and no limit on files can lose it.
// Once the pipe is full, further writes fail without blocking.
// Errors: Failure when it cannot be created.
class ReportPipe {
public:
    ReportPipe();
    ReportPipe(const ReportPipe&) = delete;  // gives its pipe on
    ReportPipe& operator=(const ReportPipe&) = delete;
    ~ReportPipe();

    int Input() const { return pipe_.input.Number(); }

    // The first bytes that have been written so far, at most this many.
    static constexpr size_t kBeginning = 8192;
    const std::string& Beginning();

private:
    Pipe pipe_;
    std::string beginning_;
};

}  // namespace w64
