#include "host/files/FileName.h"

#include "host/terminal/Failure.h"

namespace w64 {

XStr WideName(const std::filesystem::path& name, const std::string& subject) {
    XStr wide = FromUTF8(name.native());
    if (ToUTF8(wide) != name.native()) throw Failure(subject + " is not UTF-8");
    return wide;
}

void RefuseToReplaceInput(const std::filesystem::path& input, const std::filesystem::path& output) {
    std::error_code error;
    if (!std::filesystem::equivalent(input, output, error)) return;
    throw Failure("the output would replace this file itself; choose another name for it");
}

}  // namespace w64
