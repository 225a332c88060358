#pragma once

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

namespace w64 {

// Ends the work on one file. The text is for the person at the terminal; each line is a message of its own.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A failure in the decoder's words: the file itself is at fault.
class DecoderFailure : public Failure {
public:
    using Failure::Failure;
};

// The command line makes no sense; nothing has been done.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "cannot write: No space left on device", from the errno of the last system call.
inline Failure SystemFailure(const std::string& what) {
    return Failure(what + ": " + std::generic_category().message(errno));
}

// What to tell a person of any exception.
inline const char* ReasonOf(const std::exception& error) {
    return dynamic_cast<const std::bad_alloc*>(&error) ? "not enough memory" : error.what();
}

}  // namespace w64
