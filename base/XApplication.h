#pragma once

#include "base/XStr.h"

namespace w64 {

// The running program.
class XApplication {
public:
    // The folder of the running executable, without a trailing slash.
    static XStr ApplicationPath();
};

}  // namespace w64
