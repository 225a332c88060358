#pragma once

#include "base/XFile.h"

#include <sndfile.h>

namespace w64 {

// Where libsndfile writes a file.
// Errors: XFile::Error, since the library ignores some results.
class SoundFileOutput {
public:
    explicit SoundFileOutput(XFile& file) : file_(file) {}
    SoundFileOutput(const SoundFileOutput&) = delete;  // libsndfile holds its address
    SoundFileOutput& operator=(const SoundFileOutput&) = delete;
    ~SoundFileOutput() = default;

    XFile& File() const { return file_; }

    // For sf_open_virtual, with a SoundFileOutput* as user data.
    static SF_VIRTUAL_IO* Calls();

private:
    XFile& file_;
};

}  // namespace w64
