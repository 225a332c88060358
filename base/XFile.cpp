#include "base/XFile.h"

#include "base/XStr.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

static_assert(sizeof(off_t) == 8, "positions are 64-bit");

int OpenDescriptor(const char* path, int flags) {
    int descriptor = -1;
    do {
        descriptor = ::open(path, flags | O_CLOEXEC | O_NONBLOCK, 0666);  // a pipe would keep us waiting
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Not a folder, pipe or terminal: something that has a size and positions.
bool IsFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

// False only when somebody else holds the file: a file system without locks is accepted.
bool Lock(int descriptor, int operation) {
    int result = 0;
    do {
        result = ::flock(descriptor, operation | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno != EWOULDBLOCK;
}

}  // namespace

bool XFile::Open(std::wstring_view path, Access access) {
    if (path.find(L'\0') != path.npos) return false;  // the system would open a shorter name
    const int flags = access == Access::Read ? O_RDONLY : O_RDWR;
    const int create = access == Access::CreateNew ? O_CREAT | O_EXCL : 0;
    const int descriptor = OpenDescriptor(ToUTF8(path).c_str(), flags | create);
    if (descriptor < 0) return false;
    if (!IsFile(descriptor) || !Lock(descriptor, access == Access::Read ? LOCK_SH : LOCK_EX)) {
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
    if (owned_) ::close(descriptor_);  // also gives the lock up
    descriptor_ = -1;
    owned_ = false;
}

void* XFile::Handle() const { return reinterpret_cast<void*>(static_cast<intptr_t>(descriptor_)); }

size_t XFile::Read(void* data, size_t bytes) {
    size_t done = 0;
    while (done < bytes) {
        const ssize_t got = ::read(descriptor_, static_cast<uint8_t*>(data) + done, bytes - done);
        if (got > 0) {
            done += static_cast<size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

bool XFile::Write(const void* data, size_t bytes) {
    size_t done = 0;
    while (done < bytes) {
        const ssize_t put = ::write(descriptor_, static_cast<const uint8_t*>(data) + done, bytes - done);
        if (put >= 0) {
            done += static_cast<size_t>(put);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool XFile::SetPosition(int64_t position) {
    return position >= 0 && ::lseek(descriptor_, position, SEEK_SET) == position;
}

int64_t XFile::GetPosition() const { return ::lseek(descriptor_, 0, SEEK_CUR); }

int64_t XFile::Size() const {
    struct stat status {};
    return ::fstat(descriptor_, &status) == 0 ? status.st_size : -1;
}

bool XFile::SetFileSize(int64_t size) { return ::ftruncate(descriptor_, size) == 0; }
