#pragma once

#include "host/files/RangeEdit.h"
#include "host/terminal/Failure.h"

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>

namespace w64 {

// A journal cannot be written.
class JournalFailure : public Failure {
public:
    using Failure::Failure;
};

// An edit in progress, kept in a file of its own so that it can be finished whatever interrupts it. The journal is on
// disk before the first byte of the edited file changes, and is removed when the last one is on disk.
//
// Little-endian, all numbers of 64 bits: "W64JRNL1"; the lengths before and after; the number of ranges; for each its
// position, the numbers of bytes before and after, and those bytes. It ends with a CRC-32 of all that. If this is
// wrong, the edit has not begun.
// Use:    under the lock of the edited file.
// Errors: Failure.
class Journal {
public:
    explicit Journal(std::filesystem::path path) : path_(std::move(path)) {}

    // ".NAME.w64-journal" next to the file; a hash replaces a long name. Symbolic links must be resolved. Who can
    // create files there is not trusted for that: the journal has to belong to this user, root or the file's owner.
    static Journal Of(const std::filesystem::path& file);

    const std::filesystem::path& Path() const { return path_; }
    bool IsThere() const;

    // The edit; nothing if there is no journal, or one of an edit that has not begun. Fails if the name is taken by
    // something else, and for a journal that is not sound or not trusted.
    std::optional<RangeEdit> Read() const;

    // Creates the journal and flushes it and its folder to disk.
    // Errors: JournalFailure, and nothing is left behind; Failure if there is one already.
    void Write(const RangeEdit& edit) const;

    // Removes the journal, and flushes that to disk. `outcome` begins the message if that fails.
    void Remove(const std::string& outcome) const;

    static constexpr int64_t kMaxBytes = int64_t{64} << 20;

private:
    std::filesystem::path path_;
    std::optional<uid_t> trusted_;  // nothing: anybody
};

}  // namespace w64
