#include "host/terminal/TraceFile.h"

#include "host/terminal/Failure.h"

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace w64 {

TraceFile::TraceFile(const std::string& name) {
    if (name.empty()) return;
    if (std::error_code error; std::filesystem::is_regular_file(name, error)) {
        throw UsageError("the trace would replace '" + name + "'");
    }
    constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
    descriptor_ = name == "-" ? STDERR_FILENO : ::open(name.c_str(), kFlags, 0666);
    if (descriptor_ < 0) throw SystemFailure("cannot write the trace to '" + name + "'");
}

TraceFile::~TraceFile() {
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

}  // namespace w64
