#include "host/files/FileCopy.h"

#include "base/Platform.h"
#include "host/files/TempFile.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <vector>

namespace w64 {

namespace {

constexpr const char* kCannotCopy = "cannot copy the file";
constexpr const char* kShorter = "the file became shorter while it was copied";

}  // namespace

bool CanShareBlocks(const XFile& from, const std::filesystem::path& folder) try {
    TempFile copy(folder, XFile::Access::CreatePrivate);
    return Platform::ShareContents(from.Descriptor(), copy.File().Descriptor());
} catch (const Failure&) {
    return false;
}

void CopyBeginning(const XFile& from, XFile& to, int64_t bytes, const std::function<void(int64_t)>& copied) {
    constexpr int64_t kPiece = int64_t{64} << 20;  // small enough to react to an interrupt
    const bool isShared = Platform::ShareContents(from.Descriptor(), to.Descriptor());
    if (isShared && to.Size() < bytes) throw Failure(kShorter);
    if (!to.SetFileSize(bytes)) throw SystemFailure(kCannotCopy);
    if (isShared && copied) copied(bytes);
    for (int64_t done = 0; done < bytes && !isShared;) {
        Interrupt::Check();
        int64_t end = std::min(Platform::NextData(from.Descriptor(), done), bytes);
        if (end == done) {
            const int64_t left = std::min(kPiece, bytes - done);
            const int64_t count = Platform::CopySomeBytes(from.Descriptor(), to.Descriptor(), done, left);
            if (count < 0) throw SystemFailure(kCannotCopy);
            end += count;
        }
        if (end == done || from.Size() < bytes) throw Failure(kShorter);
        if (copied) copied(end - done);
        done = end;
    }
}

void CopyRange(XFile& from, int64_t position, int64_t bytes, XFile& to,
               const std::function<void(int64_t)>& copied) {
    constexpr int64_t kPiece = 1 << 20;
    std::vector<uint8_t> piece(static_cast<size_t>(std::min(kPiece, bytes)));
    if (!from.SetPosition(position)) throw SystemFailure(kCannotCopy);
    for (int64_t left = bytes; left > 0;) {
        Interrupt::Check();
        const auto size = static_cast<size_t>(std::min(kPiece, left));
        errno = 0;
        if (from.Read(piece.data(), size) < size)
            throw errno == 0 ? Failure(kShorter) : SystemFailure(kCannotCopy);
        if (!to.Write(piece.data(), size)) throw SystemFailure("cannot write");
        left -= static_cast<int64_t>(size);
        if (copied) copied(static_cast<int64_t>(size));
    }
}

}  // namespace w64
