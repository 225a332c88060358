#pragma once

#include "host/files/Descriptor.h"

#include <string>

namespace w64 {

// Keeps what a component reports to a descriptor in memory, where no full disk and no limit on files can lose it.
// Once the pipe is full, further writes fail without blocking.
// Errors: Failure when it cannot be created.
class ReportPipe {
public:
    ReportPipe();

    int Input() const { return input_.Number(); }

    // The first bytes that have been written so far, at most this many.
    static constexpr size_t kBeginning = 8192;
    const std::string& Beginning();

private:
    ReportPipe(std::pair<Descriptor, Descriptor> ends);

    Descriptor output_;
    Descriptor input_;
    std::string beginning_;
};

}  // namespace w64
