#include "host/terminal/StandardOutput.h"

#include "host/terminal/Failure.h"

#include <iostream>

namespace w64 {

void FlushStandardOutput() {
    constexpr const char* kCannotWrite = "cannot write to standard output";
    errno = 0;
    if (std::cout.flush()) return;
    throw errno == 0 ? Failure(kCannotWrite) : SystemFailure(kCannotWrite);
}

}  // namespace w64
