#pragma once

#include "base/XFile.h"
#include "host/files/FileStamp.h"

#include <filesystem>
#include <string>

namespace w64 {

// A file to be edited, open under an exclusive lock. Programs that respect locks cannot change it meanwhile;
// changes by others are detected.
// Errors: Failure.
class LockedFile {
public:
    enum class Lock { Required, WherePossible };

    // Links are followed. Some file systems have no locks.
    explicit LockedFile(const std::string& name, Lock lock = Lock::Required);

    const std::string& Name() const { return name_; }            // as the user gave it
    const std::filesystem::path& Path() const { return path_; }  // where links lead
    XFile& File() { return file_; }

    // Whether nobody has changed or replaced the file.
    bool IsUnchanged() const { return stamp_.StillHolds(path_); }

    // Fails if another program has.
    void RefuseChanges() const;

    // The changes so far are this program's own.
    void AcceptChanges() { stamp_ = FileStamp(file_.Descriptor()); }

private:
    std::string name_;
    std::filesystem::path path_;
    XFile file_;
    FileStamp stamp_;
};

}  // namespace w64
