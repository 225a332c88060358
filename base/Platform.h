#pragma once

#include "base/XStr.h"

#include <cstdint>

namespace w64 {

// What differs from one operating system to the next; one source file per platform implements it.
namespace Platform {

// The full path of the running executable; empty when the system does not tell.
XStr ExecutablePath();

// An empty file without a name that lies in memory, as a descriptor that its taker closes; where the system has
// none such, a temporary one. -1 with errno set.
int MemoryFile();

// Makes an empty file share the blocks of another, where the file system can; both are descriptors.
bool ShareContents(int from, int to);

// Copies at most `bytes` from `offset` to the same place, without a way through this program where possible.
// The number copied, 0 at the end, -1 with errno set.
int64_t CopySomeBytes(int from, int to, int64_t offset, int64_t bytes);

// Gives a file the extended attributes of another, access lists included. False with errno set; a file system
// that knows none has none to give.
bool CopyAttributes(int from, int to);

}  // namespace Platform

}  // namespace w64
