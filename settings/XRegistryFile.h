#pragma once

#include "base/XFile.h"
#include "base/XStr.h"

#include <optional>
#include <string>

namespace w64 {

// One holding of the settings file: other processes may read it together, or one may read and replace it.
// Replacing: the new text is brought to the disk in a file beside and renamed over the old one, so the path
//            names a whole text at every moment. Links are followed; owner, mode and attributes stay.
// Errors:    none reported. Waiting for another process to let go ends after five seconds.
class XRegistryFile {
public:
    // The path, read anew by every call: what the environment variable "XCLASS_XREGISTRY_LOCATION" says, else
    // "~/.XRegistry". Empty where that needs a home folder and there is none.
    static XStr Location();
    static bool IsLocationSet();
    static void SetLocation(const XStr& path, bool overwrite);

    // The text of the file, which stays locked until it is closed. A missing file is not made unless the access
    // says so, and has no text. Nothing for one that is there but cannot be opened, locked or read.
    std::optional<std::string> Open(const XStr& path, XFile::Access access);

    // Once for each opening. When false, the file is as it was.
    [[nodiscard]] bool Replace(const std::string& text);

    void Close() { file_.Close(); }

private:
    std::optional<std::string> Text();

    XStr path_;
    XFile file_;
};

}  // namespace w64
