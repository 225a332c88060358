#include "host/layout/ChunkBar.h"

#include <algorithm>
#include <array>

namespace w64 {

namespace {

constexpr size_t kNoRun = SIZE_MAX;

}  // namespace

void ChunkBar::Add(ChunkKind kind, int64_t bytes) {
    if (bytes == 0) return;
    if (runs_.empty() || runs_.back().kind != kind) runs_.push_back({kind, 0});
    runs_.back().bytes += bytes;
    bytes_ += bytes;
}

std::string ChunkBar::Line(size_t columns, bool colored) const {
    std::vector<size_t> cells = CellsInProportion(columns);
    const std::vector<bool> toShow = RunsToShow(columns);
    for (size_t i = 0; i < runs_.size(); ++i) {
        if (!toShow[i] || cells[i] != 0) continue;
        // Take a cell from the widest run that can spare one; there are more cells than runs to show.
        size_t widest = kNoRun;
        for (size_t j = 0; j < runs_.size(); ++j) {
            const bool canSpare = cells[j] > (toShow[j] ? 1 : 0);
            if (canSpare && (widest == kNoRun || cells[j] > cells[widest])) widest = j;
        }
        --cells[widest];
        ++cells[i];
    }
    std::string line;
    for (size_t i = 0; i < runs_.size(); ++i) {
        for (size_t cell = 0; cell < cells[i]; ++cell) line += Symbol(runs_[i].kind, colored);
    }
    return line;
}

std::vector<size_t> ChunkBar::CellsInProportion(size_t columns) const {
    std::vector<size_t> cells;
    int64_t end = 0;
    size_t drawn = 0;
    for (const Run& run : runs_) {
        end += run.bytes;
        const double share = static_cast<double>(end) / static_cast<double>(bytes_);
        const auto endCell = static_cast<size_t>(share * static_cast<double>(columns));
        cells.push_back(endCell - drawn);
        drawn = endCell;
    }
    return cells;
}

std::vector<bool> ChunkBar::RunsToShow(size_t columns) const {
    if (runs_.size() <= columns / 2) return std::vector<bool>(runs_.size(), true);
    std::array<size_t, kChunkKinds> largest;
    largest.fill(kNoRun);
    for (size_t i = 0; i < runs_.size(); ++i) {
        size_t& best = largest[static_cast<size_t>(runs_[i].kind)];
        if (best == kNoRun || runs_[i].bytes > runs_[best].bytes) best = i;
    }
    std::vector<bool> toShow(runs_.size(), false);
    for (const size_t run : largest) {
        if (run != kNoRun) toShow[run] = true;
    }
    return toShow;
}

std::string ChunkBar::Symbol(ChunkKind kind, bool colored) {
    struct Look {
        char letter;
        const char* color;
    };
    constexpr std::array<Look, kChunkKinds> kLooks = {
        {{'A', "30;42"}, {'F', "30;46"}, {'T', "30;43"}, {'S', "30;47"}, {'O', "30;45"}, {'?', "30;41"}}};
    const Look& look = kLooks[static_cast<size_t>(kind)];
    if (!colored) return {look.letter};
    return std::string("\x1B[") + look.color + "m" + look.letter + "\x1B[0m";
}

}  // namespace w64
