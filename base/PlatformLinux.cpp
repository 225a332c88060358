#include "base/Platform.h"

#include <filesystem>

namespace Platform {

XStr ExecutablePath() {
    std::error_code error;
    return FromUTF8(std::filesystem::read_symlink("/proc/self/exe", error).native());
}

}  // namespace Platform
