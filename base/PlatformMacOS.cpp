#include "base/Platform.h"

#include <mach-o/dyld.h>

namespace Platform {

XStr ExecutablePath() {
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::string path(size, '\0');
    if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
    return FromUTF8(path.c_str());
}

}  // namespace Platform
