#pragma once

#include <cstdio>
#include <memory>

namespace w64 {

// A stream of the C library, closed with its owner.
struct CloseStdioFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using StdioFile = std::unique_ptr<std::FILE, CloseStdioFile>;

}  // namespace w64
