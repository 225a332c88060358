#pragma once

#include "base/XFile.h"

#include <filesystem>
#include <string>

namespace w64 {

// A new, empty file under a name of its own in `folder`, removed with the object.
// Errors: Failure when it cannot be created.
class TempFile {
public:
    explicit TempFile(const std::filesystem::path& folder, XFile::Access access = XFile::Access::CreateNew);
    TempFile(const TempFile&) = delete;  // one owner removes it
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile();

    // For files that belong next to no other: that of the environment variable TMPDIR if there is one, else /tmp.
    static std::filesystem::path SharedFolder();

    // Before the destructor does, and with an error.
    void Remove();

    // Whether this is the name of such a file whose program has ended.
    static bool IsLeftover(const std::string& name);

    XFile& File() { return file_; }
    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
    XFile file_;
};

}  // namespace w64
