#pragma once

#include "host/layout/ChunkKind.h"

#include <cstdint>
#include <string>
#include <vector>

namespace w64 {

// A file drawn as one line, each kind of chunk in proportion to its size.
class ChunkBar {
public:
    // The next bytes of the file.
    void Add(ChunkKind kind, int64_t bytes);

    // One cell per column. Every run of one kind gets at least one cell; if there are too many runs, at least the
    // largest of each kind does. `columns` is at least 2 per kind.
    std::string Line(size_t columns, bool colored) const;

    static std::string Symbol(ChunkKind kind, bool colored);

private:
    struct Run {
        ChunkKind kind;
        int64_t bytes;
    };

    std::vector<size_t> CellsInProportion(size_t columns) const;
    std::vector<bool> RunsToShow(size_t columns) const;

    std::vector<Run> runs_;  // adjacent runs differ in kind
    int64_t bytes_ = 0;
};

}  // namespace w64
