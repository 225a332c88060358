#include "host/files/FileCopy.h"

#include "base/Platform.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr const char* kCannotCopy = "cannot copy the file";
constexpr const char* kShorter = "the file became shorter while it was copied";

}  // namespace

void CopyBeginning(const XFile& from, XFile& to, int64_t bytes) {
    constexpr int64_t kPiece = int64_t{64} << 20;  // small enough to react to an interrupt
    if (Platform::ShareContents(from.Descriptor(), to.Descriptor())) {
        if (to.Size() < bytes) throw Failure(kShorter);
        if (!to.SetFileSize(bytes)) throw SystemFailure(kCannotCopy);
        return;
    }
    for (int64_t done = 0; done < bytes;) {
        Interrupt::Check();
        const int64_t copied =
            Platform::CopySomeBytes(from.Descriptor(), to.Descriptor(), done, std::min(kPiece, bytes - done));
        if (copied < 0) throw SystemFailure(kCannotCopy);
        if (copied == 0) throw Failure(kShorter);
        done += copied;
    }
}

}  // namespace w64
