#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace w64 {

// What ends the work on one file, in words for whoever sits at the terminal; each line is a message of its
// own.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The same in the decoder's words: the file itself is at fault.
class DecoderFailure : public Failure {
public:
    using Failure::Failure;
};

// The command line asks for something that makes no sense; nothing has been done.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "cannot write: No space left on device", from errno as the last system call left it.
inline Failure SystemFailure(const std::string& what) {
    return Failure(what + ": " + std::generic_category().message(errno));
}

}  // namespace w64
