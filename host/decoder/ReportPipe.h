#pragma once

#include "host/files/Descriptor.h"

#include <string>

namespace w64 {

// Catches what a component reports to a descriptor, in memory: no full disk and no limit on files can lose it.
// The beginning is kept; once there is more of it than a pipe takes, further writes fail and block nobody.
// Errors: Failure when it cannot be made.
class ReportPipe {
public:
    ReportPipe();

    int Input() const { return input_.Number(); }

    // At most this much of what has been written so far.
    static constexpr size_t kBeginning = 8192;
    const std::string& Beginning();

private:
    ReportPipe(std::pair<Descriptor, Descriptor> ends);

    Descriptor output_;
    Descriptor input_;
    std::string beginning_;
};

}  // namespace w64
