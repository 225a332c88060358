#include "host/files/TempFile.h"

#include "base/XStr.h"
#include "host/terminal/Failure.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace w64 {

namespace {

std::filesystem::path NextName() {
    static std::atomic<unsigned> count = 0;
    return ".w64-" + std::to_string(::getpid()) + "-" + std::to_string(++count) + ".part";
}

}  // namespace

TempFile::TempFile(const std::filesystem::path& folder, XFile::Access access) {
    constexpr int kTries = 100;  // a killed process with the same number may have left files
    for (int i = 0; i < kTries; ++i) {
        path_ = folder / NextName();
        if (file_.Open(FromFileName(path_.native()), access)) return;
        if (errno != EEXIST) break;
    }
    throw SystemFailure("cannot create a file in '" + (folder.empty() ? "." : folder.native()) + "'");
}

std::filesystem::path TempFile::SharedFolder() {
    std::error_code error;
    std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    return error ? "/tmp" : folder;
}

bool TempFile::IsLeftover(const std::string& name) {
    int process = 0;
    int end = 0;
    const int found = std::sscanf(name.c_str(), ".w64-%d-%*u.part%n", &process, &end);
    return found == 1 && static_cast<size_t>(end) == name.size() && ::kill(process, 0) != 0 && errno == ESRCH;
}

void TempFile::Remove() {
    if (::unlink(path_.c_str()) != 0) throw SystemFailure("cannot remove '" + path_.native() + "'");
}

TempFile::~TempFile() { ::unlink(path_.c_str()); }

}  // namespace w64
