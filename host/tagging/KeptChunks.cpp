#include "host/tagging/KeptChunks.h"

#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace w64 {

namespace {

std::string Describe(const STRIFFChunk& chunk) {
    return "the chunk '" + ChunkName(chunk.ChunkGUID) + "' at " + Grouped(chunk.ChunkPosition);
}

// Compares ranges of two files through one pair of buffers.
class ByteComparison {
public:
    ByteComparison(XFile& a, XFile& b, const std::function<void(int64_t)>& compared)
        : a_(a), b_(b), compared_(compared) {}

    bool AreSame(int64_t positionA, int64_t positionB, int64_t bytes) {
        for (int64_t done = 0; done < bytes; done += kBlock) {
            Interrupt::Check();
            const auto size = static_cast<size_t>(std::min(kBlock, bytes - done));
            if (!Read(a_, positionA + done, blockA_, size) || !Read(b_, positionB + done, blockB_, size) ||
                std::memcmp(blockA_.data(), blockB_.data(), size) != 0) {
                return false;
            }
            if (compared_) compared_(static_cast<int64_t>(size));
        }
        return true;
    }

private:
    static constexpr int64_t kBlock = 1 << 20;

    static bool Read(XFile& file, int64_t position, std::vector<char>& block, size_t bytes) {
        return file.SetPosition(position) && file.Read(block.data(), bytes) == bytes;
    }

    XFile& a_;
    XFile& b_;
    const std::function<void(int64_t)>& compared_;
    std::vector<char> blockA_ = std::vector<char>(kBlock);
    std::vector<char> blockB_ = std::vector<char>(kBlock);
};

}  // namespace

void ScanSound(clWave64Handler& chunks, XFile& file) {
    chunks.SetRules({.safe = true});
    if (!chunks.Initialize(file.Handle(), {})) throw Failure("is not a readable Wave64 file");
    if (chunks.LayoutFault().empty()) return;
    throw Failure("its layout is not sound: " + ToUTF8(chunks.LayoutFault()) + "; w64 check tells more");
}

KeptChunks::KeptChunks(XFile& file) {
    clWave64Handler chunks;
    ScanSound(chunks, file);
    for (int i = 0; i < chunks.Count(); ++i) {
        const bool isList = CompareGUID(chunks[i].ChunkGUID, kSummaryListCode);
        if (!isList && !chunks.IsPadding(i)) chunks_.push_back(chunks[i]);
    }
}

std::string KeptChunks::DifferenceTo(const KeptChunks& edited) const {
    for (size_t i = 0; i < chunks_.size(); ++i) {
        if (i >= edited.chunks_.size() || edited.chunks_[i].ChunkGUID != chunks_[i].ChunkGUID) {
            return Describe(chunks_[i]) + " is missing";
        }
        if (edited.chunks_[i].DataSize != chunks_[i].DataSize) {
            return Describe(chunks_[i]) + " has a different size";
        }
    }
    const bool more = edited.chunks_.size() > chunks_.size();
    return more ? Describe(edited.chunks_[chunks_.size()]) + " was added" : "";
}

bool KeptChunks::StandsAs(const KeptChunks& edited) const {
    return std::ranges::equal(chunks_, edited.chunks_, {}, &STRIFFChunk::ChunkPosition,
                              &STRIFFChunk::ChunkPosition);
}

std::string KeptChunks::DifferenceOfBytes(XFile& file, const KeptChunks& edited, XFile& editedFile,
                                          const std::function<void(int64_t)>& compared) const {
    ByteComparison comparison(file, editedFile, compared);
    for (size_t i = 0; i < chunks_.size(); ++i) {
        const STRIFFChunk& chunk = chunks_[i];
        if (!comparison.AreSame(chunk.FileDataPosition, edited.chunks_[i].FileDataPosition, chunk.DataSize)) {
            return Describe(chunk) + " has different bytes";
        }
    }
    return "";
}

}  // namespace w64
