#include "base/XFile.h"

#include "base/Platform.h"
#include "base/Saturating.h"
#include "base/XStr.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace w64 {

namespace {

using Block = std::array<std::byte, 65536>;  // buffer of a move

static_assert(sizeof(off_t) == 8, "positions are 64-bit");

struct Opening {
    int flags;
    int lock;
    mode_t permissions;  // of a new file
};

constexpr Opening kOpenings[] = {
    // in the order of XFile::Access
    {O_RDONLY, LOCK_SH | LOCK_NB, 0},
    {O_RDWR, LOCK_EX | LOCK_NB, 0},
    {O_RDWR | O_CREAT | O_EXCL, LOCK_EX | LOCK_NB, 0666},
    {O_RDWR | O_CREAT | O_EXCL, LOCK_EX | LOCK_NB, 0600},
    {O_RDWR | O_CREAT, LOCK_EX | LOCK_NB, 0600},
};

int OpenDescriptor(const char* path, const Opening& how) {
    int descriptor = -1;
    do {  // non-blocking, as opening a pipe would wait for its other end
        descriptor = ::open(path, how.flags | O_CLOEXEC | O_NONBLOCK, how.permissions);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Regular files only: folders, pipes and terminals have no positions, and devices report a size of 0.
bool IsFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// False only when the file is locked by another holder; a file system without locks is accepted.
bool Lock(int descriptor, int operation) {
    int result = 0;
    do {
        result = ::flock(descriptor, operation);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

}  // namespace

bool XFile::Open(std::wstring_view path, Access access) {
    if (path.find(L'\0') != path.npos) return false;  // the system would open a shorter name
    const Opening& how = kOpenings[static_cast<int>(access)];
    const int descriptor = OpenDescriptor(ToFileName(path).c_str(), how);
    if (descriptor < 0) return false;
    if (!IsFile(descriptor) || !Lock(descriptor, how.lock)) {
        ::close(descriptor);
        return false;
    }
    Close();
    descriptor_ = descriptor;
    owned_ = true;
    return true;
}

bool XFile::Open(void* handle) {
    Close();
    const auto descriptor = static_cast<int>(reinterpret_cast<intptr_t>(handle));
    if (descriptor < 0) return false;
    descriptor_ = descriptor;
    return true;
}

void XFile::Close() {
    if (owned_) ::close(descriptor_);  // also releases the lock
    descriptor_ = -1;
    owned_ = false;
    error_ = 0;
}

void* XFile::Handle() const { return reinterpret_cast<void*>(static_cast<intptr_t>(descriptor_)); }

size_t XFile::Read(void* data, size_t bytes) {
    size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::read(descriptor_, static_cast<uint8_t*>(data) + done, bytes - done);
        if (got < 0 && errno == EINTR) continue;
        if (Kept(got) <= 0) break;
        done += static_cast<size_t>(got);
    }
    return done;
}

bool XFile::Write(const void* data, size_t bytes) {
    size_t done = 0;
    while (done < bytes) {
        const ssize_t put = ::write(descriptor_, static_cast<const uint8_t*>(data) + done, bytes - done);
        if (put < 0 && errno == EINTR) continue;
        if (Kept(put) < 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

bool XFile::SetPosition(int64_t position) {
    return position >= 0 && Kept(::lseek(descriptor_, position, SEEK_SET)) == position;
}

int64_t XFile::GetPosition() const { return Kept(::lseek(descriptor_, 0, SEEK_CUR)); }

int64_t XFile::Size() const {
    struct stat status {};
    return Kept(::fstat(descriptor_, &status)) == 0 ? status.st_size : -1;
}

bool XFile::SetFileSize(int64_t size) { return Kept(::ftruncate(descriptor_, size)) == 0; }

int64_t XFile::Kept(int64_t result) const {
    if (result < 0 && error_ == 0 && errno != EINVAL) error_ = errno;
    return result;
}

bool XFile::Extend(int64_t size) {
    const int64_t old = Size();
    if (old < 0) return false;
    // Setting the size first refuses too large a size at once, before the disk fills up.
    if (SetFileSize(size) && FillWithZeros(old, size - old)) return true;
    static_cast<void>(SetFileSize(old));
    return false;
}

bool XFile::Shuffle(int64_t position, int64_t delta, bool zeroFill) {
    if (delta == 0 || position < 0) return true;
    const int64_t size = Size();
    if (size < 0) return false;
    const int64_t newSize = std::max<int64_t>(SaturatingAdd(size, delta), 0);
    if (delta < 0) return MoveTowardsStart(position, size, delta) && SetFileSize(newSize);
    return Extend(newSize) && MoveTowardsEnd(position, size, delta) &&
           (!zeroFill || FillWithZeros(position, delta)) && SetFileSize(newSize);
}

bool XFile::IsAt(std::wstring_view path) const {
    struct stat opened {};
    struct stat named {};
    return ::fstat(descriptor_, &opened) == 0 && ::stat(ToFileName(path).c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// The mode comes after the owner, as chown clears mode bits.
bool XFile::TakeAttributes(const XFile& from) {
    struct stat status {};
    return ::fstat(from.descriptor_, &status) == 0 &&
           ::fchown(descriptor_, status.st_uid, status.st_gid) == 0 &&
           ::fchmod(descriptor_, status.st_mode & 07777) == 0 &&
           Platform::CopyAttributes(from.descriptor_, descriptor_);
}

bool XFile::MoveOver(std::wstring_view name, std::wstring_view path) {
    const std::string target = ToFileName(path);
    if (::fsync(descriptor_) != 0 || ::rename(ToFileName(name).c_str(), target.c_str()) != 0) return false;
    // Whether the new name is on disk or not, it leads to a whole file.
    static_cast<void>(SyncFolder(std::filesystem::path(target).parent_path()));
    return true;
}

bool XFile::SyncFolder(const std::string& folder) {
    const char* path = folder.empty() ? "." : folder.c_str();
    const int descriptor = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool isSynced = ::fsync(descriptor) == 0 || errno == EINVAL;  // some file systems sync no folders
    ::close(descriptor);
    return isSynced;
}

// From the end backwards, so that nothing is overwritten before it is read.
bool XFile::MoveTowardsEnd(int64_t position, int64_t end, int64_t delta) {
    Block block;
    while (end > position) {
        const auto bytes = std::min<int64_t>(block.size(), end - position);
        end -= bytes;
        if (!MoveBlock(end, end + delta, std::span(block).first(static_cast<size_t>(bytes)))) return false;
    }
    return true;
}

bool XFile::MoveTowardsStart(int64_t position, int64_t end, int64_t delta) {
    Block block;
    while (position < end) {
        const auto bytes = std::min<int64_t>(block.size(), end - position);
        if (!MoveBlock(position, position + delta, std::span(block).first(static_cast<size_t>(bytes))))
            return false;
        position += bytes;
    }
    return true;
}

bool XFile::MoveBlock(int64_t from, int64_t to, std::span<std::byte> block) {
    return SetPosition(from) && Read(block.data(), block.size()) == block.size() && SetPosition(to) &&
           Write(block.data(), block.size());
}

bool XFile::FillWithZeros(int64_t position, int64_t bytes) {
    const Block zeros{};
    if (!SetPosition(position)) return false;
    for (; bytes > 0; bytes -= static_cast<int64_t>(zeros.size())) {
        if (!Write(zeros.data(), static_cast<size_t>(std::min<int64_t>(bytes, zeros.size())))) return false;
    }
    return true;
}

}  // namespace w64
