#pragma once

#include <memory>
#include <sndfile.h>

namespace w64 {

// A file of libsndfile, closed with its owner; closing completes one that is written.
struct CloseSoundFile {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFileHandle = std::unique_ptr<SNDFILE, CloseSoundFile>;

}  // namespace w64
