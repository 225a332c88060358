#pragma once

#include "base/XFile.h"

#include <sndfile.h>

namespace w64 {

// Where libsndfile writes a file.
// Errors: kept as WriteError, since the library ignores some results.
class SoundFileOutput {
public:
    explicit SoundFileOutput(XFile& file) : file_(file) {}
    SoundFileOutput(const SoundFileOutput&) = delete;  // libsndfile holds its address
    SoundFileOutput& operator=(const SoundFileOutput&) = delete;
    ~SoundFileOutput() = default;

    XFile& File() { return file_; }
    int WriteError() const { return writeError_; }  // an errno, 0 for none

    // For sf_open_virtual, with a SoundFileOutput* as user data.
    static SF_VIRTUAL_IO* Calls();

private:
    XFile& file_;
    int writeError_ = 0;
};

}  // namespace w64
