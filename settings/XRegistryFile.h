#pragma once

#include "base/XFile.h"
#include "base/XStr.h"

#include <optional>
#include <string>

namespace w64 {

// The settings file under a lock: shared by several readers, or held by one process that replaces it.
// Replacing: the new text is written to a temporary file next to the old one, synced and renamed over it, so the
//            path always names a complete text. Links are followed; owner, mode and attributes are kept.
// Errors:    none reported. Waiting for the lock ends after five seconds.
class XRegistryFile {
public:
    // The path, looked up by every call: the environment variable "XCLASS_XREGISTRY_LOCATION", else
    // "~/.XRegistry". Empty when that needs a home folder and there is none.
    static XStr Location();
    static bool IsLocationSet();
    static void SetLocation(const XStr& path, bool overwrite);

    // The text of the file, which stays locked until it is closed. A missing file reads as empty text, and is
    // created only if the access says so. Nothing if the file exists but cannot be opened, locked or read.
    std::optional<std::string> Open(const XStr& path, XFile::Access access);

    // At most once per Open. A failure leaves the file unchanged.
    [[nodiscard]] bool Replace(const std::string& text);

    void Close() { file_.Close(); }

private:
    std::optional<std::string> Text();

    XStr path_;
    XFile file_;
};

}  // namespace w64
