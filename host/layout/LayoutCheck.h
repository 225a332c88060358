#pragma once

#include "host/layout/ChunkWalk.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// A finding about a file's layout, as a sentence.
struct LayoutFinding {
    bool isFault = false;  // endangers the audio, or programs that read or edit the file; else only odd
    std::string text;
    int64_t alike = 0;  // similar findings left out, so that a million faults take only a few lines
};

// A strict check of the layout of a Wave64 file: the headers, the bytes between the chunks, and whether format
// and audio agree. Only the end of the audio is read.
// Errors: none; everything wrong is a finding.
class LayoutCheck {
public:
    explicit LayoutCheck(XFile& file);

    const std::vector<LayoutFinding>& Findings() const { return findings_; }

    bool HasFaults() const;

    // Padding after the last chunk is missing, in the file or in its outer size.
    bool LacksPadding() const { return lacksPadding_; }

    // There is audio, and a normal decode fails or ends too soon.
    bool CallsForSalvage() const { return data_ && structureIsFaulty_; }

    // "3 chunks, 60,112 bytes, tags before the audio"
    std::string Summary() const;

private:
    void CheckChunk(const WalkedChunk& chunk);
    void CheckFit(const WalkedChunk& chunk);
    void CheckPadding(const WalkedChunk& chunk);
    bool EndsWithoutPadding() const;
    void CheckKind(const WalkedChunk& chunk);
    void CheckSummaryList(const WalkedChunk& list);
    void RememberFirst(std::optional<WalkedChunk>& first, std::string_view categoryOfOthers,
                       const WalkedChunk& chunk);
    void CheckStop(ChunkWalk& walk);
    void CheckEnd(ChunkWalk& walk);
    bool BeginsUnpadded(ChunkWalk& walk) const;
    std::string NoChunkFault(ChunkWalk& walk) const;
    void CheckOuterSize(ChunkWalk::Stop stop);
    bool OuterSizeFitsLastPadding() const;
    std::string OuterFault(ChunkWalk::Stop stop) const;
    void CheckWhatIsThere();
    void CheckFormat();
    void CheckFrames(int64_t frameBytes);
    void CheckFact(int64_t frames, int64_t frameBytes);
    bool EndsInCountedPadding(int64_t bytes);
    bool Read(int64_t position, std::span<uint8_t> bytes);

    void Fault(std::string_view category, std::string text) { Add(true, category, std::move(text)); }
    void Structure(std::string_view category, std::string text);  // a fault that calls for salvage
    void Odd(std::string_view category, std::string text) { Add(false, category, std::move(text)); }
    void Add(bool isFault, std::string_view category, std::string text);

    XFile& file_;
    const int64_t fileBytes_;
    uint64_t outerSize_ = 0;
    int64_t chunks_ = 0;
    int64_t slackBytes_ = 0;
    bool tagsBeforeAudio_ = false;
    bool tagsAfterAudio_ = false;
    bool structureIsFaulty_ = false;
    bool lacksPadding_ = false;
    std::optional<WalkedChunk> format_;  // the first of its kind
    std::optional<WalkedChunk> data_;
    std::optional<WalkedChunk> fact_;
    std::optional<WalkedChunk> summaryList_;
    std::optional<WalkedChunk> last_;

    struct Category {
        int64_t count = 0;
        size_t lastListed = 0;  // in findings_
    };
    std::map<std::string_view, Category> categories_;
    std::vector<LayoutFinding> findings_;
};

}  // namespace w64
