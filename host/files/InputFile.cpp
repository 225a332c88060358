#include "host/files/InputFile.h"

#include "base/XStr.h"
#include "host/terminal/Failure.h"

#include <filesystem>

namespace w64 {

namespace fs = std::filesystem;

InputFile::InputFile(const std::string& name) {
    if (Open(FromFileName(name), Access::Read)) return;
    auto reason = static_cast<std::errc>(errno);
    std::error_code error;
    const fs::file_status status = fs::status(name, error);
    if (fs::is_directory(status)) reason = std::errc::is_a_directory;
    if (fs::is_other(status)) throw Failure(kNoFile);
    if (reason == std::errc::operation_would_block) throw Failure("is in use by another program");
    throw Failure(std::make_error_code(reason).message());
}

void RequireReadable(const std::string& name) { const InputFile file(name); }

void RequireNoError(const XFile& file, const std::string& what) {
    errno = file.Error();
    if (errno != 0) throw SystemFailure(what);
}

}  // namespace w64
