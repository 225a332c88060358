#pragma once

#include <memory>
#include <mpg123.h>

namespace w64 {

// A decoder of libmpg123, deleted with its owner.
struct DeleteMPG123Handle {
    void operator()(mpg123_handle* handle) const { mpg123_delete(handle); }
};
using MPG123Handle = std::unique_ptr<mpg123_handle, DeleteMPG123Handle>;

// Whether two MPEG frames can follow each other in one stream.
inline bool IsSameFormat(const mpg123_frameinfo& a, const mpg123_frameinfo& b) {
    return a.rate == b.rate && (a.mode == MPG123_M_MONO) == (b.mode == MPG123_M_MONO);
}

}  // namespace w64
