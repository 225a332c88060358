#pragma once

#include "host/layout/ChunkKind.h"

#include <cstdint>
#include <string>
#include <vector>

namespace w64 {

// A file drawn as one line: where what lies, in proportion.
class ChunkBar {
public:
    // The next bytes of the file.
    void Add(ChunkKind kind, int64_t bytes);

    // One cell per column. However small, every stretch of one kind gets a cell, unless there are too many of
    // them; then every kind does. `columns` is at least 2 per kind.
    std::string Line(size_t columns, bool colored) const;

    static std::string Symbol(ChunkKind kind, bool colored);

private:
    struct Run {
        ChunkKind kind;
        int64_t bytes;
    };

    std::vector<size_t> CellsInProportion(size_t columns) const;
    std::vector<bool> RunsToShow(size_t columns) const;

    std::vector<Run> runs_;  // neighbours differ in kind
    int64_t bytes_ = 0;
};

}  // namespace w64
