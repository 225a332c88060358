#pragma once

#include "base/Platform.h"
#include "base/XFile.h"

#include <cstddef>

namespace w64 {

// Lets the disk begin with what has been written to a file, so that little is left to do when it is flushed at its end.
class FlushAhead {
public:
    explicit FlushAhead(XFile& file) : file_(file) {}

    // After each write.
    void Add(size_t bytes) {
        constexpr size_t kStep = size_t{32} << 20;
        bytes_ += bytes;
        if (bytes_ < kStep) return;
        bytes_ = 0;
        Platform::StartFlush(file_.Descriptor());
    }

private:
    XFile& file_;
    size_t bytes_ = 0;
};

}  // namespace w64
