#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace w64 {

// A file over one descriptor, with signed 64-bit sizes and positions in bytes.
// Owner:  a file opened by name is closed by the object; a file attached by handle belongs to whoever opened
//         it. A handle is the descriptor in a pointer, and its users share one file position.
// Errors: false, -1 or a short count, without a message; the caller knows what it was doing.
class XFile {
public:
    enum class Access {
        Read,               // an existing file, under a shared lock
        ReadWrite,          // an existing file, under an exclusive lock
        CreateNew,          // as ReadWrite, for a file that must not exist yet
        CreatePrivate,      // as CreateNew, for its owner alone
        ReadWriteOrCreate,  // as ReadWrite; a missing file is made, for its owner alone
    };

    XFile() = default;
    XFile(const XFile&) = delete;  // a descriptor has one owner
    XFile& operator=(const XFile&) = delete;
    ~XFile() { Close(); }

    // Closes the previous file on success and keeps it on failure. Locks are advisory; a conflicting lock fails
    // the open at once, and a file system without locks is accepted. Only regular files are opened.
    [[nodiscard]] bool Open(std::wstring_view path, Access access);

    // Attaches to an open file without owning it.
    bool Open(void* handle);

    void Close();
    bool IsOpen() const { return descriptor_ >= 0; }
    void* Handle() const;
    int Descriptor() const { return descriptor_; }

    // Bytes read: fewer than asked for only at the end of the file or on an error.
    [[nodiscard]] size_t Read(void* data, size_t bytes);
    [[nodiscard]] bool Write(const void* data, size_t bytes);
    [[nodiscard]] bool SetPosition(int64_t position);
    int64_t GetPosition() const;
    int64_t Size() const;
    [[nodiscard]] bool SetFileSize(int64_t size);

    // The first error of these since the file was opened, as in errno; 0 for none. For those who take a failure for
    // the end of the file, or whose library does. A position that no file can have is no error.
    int Error() const { return error_; }

    // Appends zeros up to `size` bytes to reserve disk space for later writes. A failure leaves the file
    // unchanged.
    [[nodiscard]] bool Extend(int64_t size);

    // Moves everything from `position` to the end by `delta` bytes, towards the end when positive, and makes
    // the file that much longer or shorter. A gap that opens keeps its old bytes unless `zeroFill` is set.
    // Does nothing for a delta of 0 or a negative position. Disk space is reserved before anything moves; a
    // later failure leaves the move half done.
    [[nodiscard]] bool Shuffle(int64_t position, int64_t delta, bool zeroFill);

    // Whether the path still names this file, not one that has replaced it.
    bool IsAt(std::wstring_view path) const;

    // Copies owner, mode and extended attributes from another file.
    [[nodiscard]] bool TakeAttributes(const XFile& from);

    // Syncs the file to disk, then renames it from `name` to `path`, in the same folder, replacing what is there.
    [[nodiscard]] bool MoveOver(std::wstring_view name, std::wstring_view path);

    // Makes the names in a folder, "" for the current one, survive a power cut.
    [[nodiscard]] static bool SyncFolder(const std::string& folder);

private:
    [[nodiscard]] bool MoveBlock(int64_t from, int64_t to, std::span<std::byte> block);
    [[nodiscard]] bool MoveTowardsEnd(int64_t position, int64_t end, int64_t delta);
    [[nodiscard]] bool MoveTowardsStart(int64_t position, int64_t end, int64_t delta);
    [[nodiscard]] bool FillWithZeros(int64_t position, int64_t bytes);

    // Keeps the error of a system call.
    int64_t Kept(int64_t result) const;

    int descriptor_ = -1;
    bool owned_ = false;
    mutable int error_ = 0;
};

}  // namespace w64
