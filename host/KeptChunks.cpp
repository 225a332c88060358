#include "host/KeptChunks.h"

#include "host/FormatText.h"
#include "host/Interrupt.h"
#include "tags/ChunkTags.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

bool HoldsTags(const STRIFFChunk& chunk, XFile& file) {
    if (!CompareGUID(chunk.ChunkGUID, kSummaryListCode)) return false;
    XMem data;
    NTag tags;
    LISTText text = LISTText::UTF16;
    const auto bytes = static_cast<uint32_t>(chunk.DataSize);
    return ChunkTags::ReadFileIntoMemory(data, 0, bytes, chunk.FileDataPosition, file, {}) &&
           clRIFFSUMMARYLISTChunk::InitFrom(data.Data(), bytes, tags, {}, 0, text);
}

std::string Describe(const STRIFFChunk& chunk) {
    return "the chunk '" + ChunkName(chunk.ChunkGUID) + "' at " + Grouped(chunk.ChunkPosition);
}

bool ReadAt(XFile& file, int64_t position, std::vector<char>& block, size_t bytes) {
    return file.SetPosition(position) && file.Read(block.data(), bytes) == bytes;
}

bool HaveSameBytes(XFile& fileA, const STRIFFChunk& a, XFile& fileB, const STRIFFChunk& b) {
    constexpr int64_t kBlock = 1 << 20;
    std::vector<char> blockA(kBlock);
    std::vector<char> blockB(kBlock);
    for (int64_t done = 0; done < a.DataSize; done += kBlock) {
        Interrupt::Check();
        const auto bytes = static_cast<size_t>(std::min(kBlock, a.DataSize - done));
        if (!ReadAt(fileA, a.FileDataPosition + done, blockA, bytes) ||
            !ReadAt(fileB, b.FileDataPosition + done, blockB, bytes) ||
            std::memcmp(blockA.data(), blockB.data(), bytes) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

KeptChunks::KeptChunks(XFile& file) {
    clWave64Handler chunks;
    chunks.SetRules({.safe = true});
    if (!chunks.Initialize(file.Handle(), {})) return;
    for (int i = 0; i < chunks.Count(); ++i) {
        if (!chunks.IsPadding(i) && !HoldsTags(chunks[i], file)) chunks_.push_back(chunks[i]);
    }
}

std::string KeptChunks::DifferenceTo(const KeptChunks& edited) const {
    for (size_t i = 0; i < chunks_.size(); ++i) {
        if (i >= edited.chunks_.size() || edited.chunks_[i].ChunkGUID != chunks_[i].ChunkGUID) {
            return Describe(chunks_[i]) + " is not there";
        }
        if (edited.chunks_[i].DataSize != chunks_[i].DataSize) {
            return Describe(chunks_[i]) + " has another size";
        }
    }
    const bool more = edited.chunks_.size() > chunks_.size();
    return more ? Describe(edited.chunks_[chunks_.size()]) + " is one too many" : "";
}

std::string KeptChunks::DifferenceOfBytes(XFile& file, const KeptChunks& edited, XFile& editedFile) const {
    for (size_t i = 0; i < chunks_.size(); ++i) {
        if (!HaveSameBytes(file, chunks_[i], editedFile, edited.chunks_[i])) {
            return Describe(chunks_[i]) + " has other bytes";
        }
    }
    return "";
}
