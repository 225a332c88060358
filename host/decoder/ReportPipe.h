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
    // While there is one, empty pipes are kept for the next reports: making one takes longer than to read the headers
    // of a file.
    class Reuse {
    public:
        Reuse();
        Reuse(const Reuse&) = delete;
        Reuse& operator=(const Reuse&) = delete;
        ~Reuse();
    };

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
