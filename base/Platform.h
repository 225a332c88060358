#pragma once

#include "base/XStr.h"

#include <cstdint>

namespace w64 {

// What differs between operating systems. Each platform has one source file that implements it.
namespace Platform {

// The full path of the running executable; empty when it is unknown.
XStr ExecutablePath();

// An empty, unnamed file in memory, or a temporary one on systems that have no such files. The caller closes the
// descriptor. -1 with errno set on failure.
int MemoryFile();

// A pipe whose ends do not block and are closed in other programs: the end to read from, then the end to write to.
// False with errno set on failure.
bool MakePipe(int (&ends)[2]);

// Makes an empty file share the blocks of another (a reflink). False where the file system cannot.
bool ShareContents(int from, int to);

// Where data begins at or after `position`, past the hole that is there in a sparse file; INT64_MAX if none does. On
// file systems without holes it is `position`.
int64_t NextData(int file, int64_t position);

// Copies at most `bytes` from `offset` to the same offset, within the kernel where possible. Returns the number
// copied: 0 at the end, -1 with errno set on failure.
int64_t CopySomeBytes(int from, int to, int64_t offset, int64_t bytes);

// Begins to write to the disk what has been written to a file, where the system can.
void StartFlush(int file);

// Lets a file that is flushed be read from the disk next time, where the system can.
void DropFromCache(int file);

// Bytes that this process has written to files so far; 0 when it is unknown.
int64_t BytesWritten();

// Copies the extended attributes, access lists included. False with errno set on failure; a file system without
// attributes is no failure.
bool CopyAttributes(int from, int to);

}  // namespace Platform

}  // namespace w64
