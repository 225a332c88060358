#include "host/layout/LayoutCheck.h"

#include "audio/format/XAudioWFX.h"
#include "base/LittleEndian.h"
#include "host/layout/AudioExtent.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <span>

namespace w64 {

namespace {

constexpr int64_t kMaxPerCategory = 3;
constexpr const char* kCountedPadding = ", as if padding were counted as audio.";
constexpr int64_t kLargeSlack = 65536;  // several times what tag editors leave

std::string Bytes(std::integral auto count) { return Counted(count, "byte"); }

// What the file lacks of a claimed size, if that is plausible.
std::string Lack(uint64_t bytes) {
    return bytes > kMaxRecordingBytes ? ", and no recording is that long" : " and lacks " + Bytes(bytes);
}

// "'data' at 1,234"
std::string Named(const WalkedChunk& chunk) {
    return "'" + ChunkName(chunk.identifier) + "' at " + Grouped(chunk.position);
}

bool IsSummaryList(const WalkedChunk& chunk) { return CompareGUID(chunk.identifier, kSummaryListCode); }

}  // namespace

LayoutCheck::LayoutCheck(XFile& file) : file_(file), fileBytes_(file.Size()) {
    try {
        outerSize_ = ReadOuterSize(file);
    } catch (const Failure& failure) {
        Fault("outer header", failure.what());
        return;
    }
    ChunkWalk walk(file, outerSize_);
    while (const auto chunk = walk.Next()) CheckChunk(*chunk);
    CheckStop(walk);
    CheckOuterSize(walk.StoppedBy());
    CheckWhatIsThere();
}

bool LayoutCheck::HasFaults() const { return std::ranges::any_of(findings_, &LayoutFinding::isFault); }

std::string LayoutCheck::Summary() const {
    std::string text = Bytes(fileBytes_);
    if (chunks_ != 0) text = Counted(chunks_, "chunk") + ", " + text;
    if (tagsBeforeAudio_ && tagsAfterAudio_) {
        text += ", tags on both sides of the audio";
    } else if (tagsBeforeAudio_ || tagsAfterAudio_) {
        text += tagsBeforeAudio_ ? ", tags before the audio" : ", tags after the audio";
    }
    if (slackBytes_ != 0) text += ", " + Bytes(slackBytes_) + " kept free";
    return text;
}

void LayoutCheck::CheckChunk(const WalkedChunk& chunk) {
    ++chunks_;
    last_ = chunk;
    CheckFit(chunk);
    CheckPadding(chunk);
    CheckKind(chunk);
}

void LayoutCheck::CheckFit(const WalkedChunk& chunk) {
    switch (chunk.fit) {
    case ChunkFit::Whole:
        break;
    case ChunkFit::TooSmall:
        Structure("too small", Named(chunk) + " claims to take " + Bytes(chunk.sizeField) +
                                   ", fewer than the 24 of its own header.");
        break;
    case ChunkFit::Outside:
        Structure("outside", Named(chunk) + " claims " + Bytes(chunk.ClaimedBytes()) +
                                 " of data; the file has " + Bytes(chunk.dataBytes) + " of it" +
                                 Lack(chunk.ClaimedBytes() - static_cast<uint64_t>(chunk.dataBytes)) + ".");
        break;
    case ChunkFit::CutTo32Bits:
        Structure("cut", Named(chunk) + " claims " + Bytes(chunk.ClaimedBytes()) +
                             " of data, but there are " + Bytes(chunk.dataBytes) +
                             ": its size was truncated to 32 bits.");
        break;
    }
}

void LayoutCheck::CheckPadding(const WalkedChunk& chunk) {
    if (EndsWithoutPadding()) {
        lacksPadding_ = true;
        Odd("no padding", Named(chunk) + " ends the file with " + Bytes(chunk.paddingBytes) +
                              " of padding; " + Bytes(GetPaddingBytes(chunk.DataEnd())) +
                              " would make its length a multiple of 8.");
    }
    if (!chunk.zeroPadding) {
        Odd("padding", "The padding after " + Named(chunk) + " (" + Bytes(chunk.paddingBytes) + " from " +
                           Grouped(chunk.DataEnd()) + ") should be zero and is not.");
    }
}

bool LayoutCheck::EndsWithoutPadding() const {
    return last_ && last_->HasKnownEnd() && last_->paddingBytes < GetPaddingBytes(last_->DataEnd());
}

void LayoutCheck::CheckKind(const WalkedChunk& chunk) {
    const ChunkKind kind = KindOfChunk(chunk.identifier);
    if (kind == ChunkKind::Audio) RememberFirst(data_, "more audio", chunk);
    if (kind == ChunkKind::Format) RememberFirst(format_, "more formats", chunk);
    if (kind == ChunkKind::Slack) slackBytes_ += chunk.dataBytes;
    if (IsSummaryList(chunk)) CheckSummaryList(chunk);
    if (!fact_ && CompareGUID(chunk.identifier, RIFFChnkID("fact"))) fact_ = chunk;
    if (!HasName(chunk.identifier)) {
        Odd("unknown", "The chunk at " + Grouped(chunk.position) + " with " + Bytes(chunk.dataBytes) +
                           " of data is of an unknown kind: " + ChunkName(chunk.identifier) + ".");
    }
}

void LayoutCheck::RememberFirst(std::optional<WalkedChunk>& first, std::string_view categoryOfOthers,
                                const WalkedChunk& chunk) {
    if (first) {
        Fault(categoryOfOthers, Named(chunk) + ", " + Bytes(chunk.dataBytes) +
                                    " of data, is one too many: there is " + Named(*first) +
                                    " already, and readers use only one of them.");
    } else {
        first = chunk;
    }
}

void LayoutCheck::CheckSummaryList(const WalkedChunk& list) {
    (data_ ? tagsAfterAudio_ : tagsBeforeAudio_) = true;
    if (summaryList_) {
        Odd("more lists", "The tags are in several chunks: " + Named(list) + " with " +
                              Bytes(list.dataBytes) + " of data comes after " + Named(*summaryList_) + ".");
    } else {
        summaryList_ = list;
    }
    if (!data_ && list.dataBytes % 8 != 0) {
        Odd("uneven list", Named(list) + " comes before the audio with " + Bytes(list.dataBytes) +
                               " of data, not a multiple of 8: some programs misplace the audio when they "
                               "edit such tags.");
    }
}

void LayoutCheck::CheckStop(ChunkWalk& walk) {
    const std::string rest =
        "the rest of the file, " + Bytes(walk.BytesLeft()) + " from " + Grouped(walk.Position()) + ",";
    switch (walk.StoppedBy()) {
    case ChunkWalk::Stop::FileEnd:
        CheckEnd(walk);
        break;
    case ChunkWalk::Stop::OuterEnd:
        break;  // CheckOuterSize reports it
    case ChunkWalk::Stop::FaultyChunk:
        if (walk.BytesLeft() != 0) Structure("rest", "It is unknown what " + rest + " is.");
        break;
    case ChunkWalk::Stop::NoChunk:
        Structure("rest", NoChunkFault(walk));
        break;
    case ChunkWalk::Stop::TooMany:
        Structure("rest", "There are more than " + Grouped(ChunkWalk::kMaxChunks) +
                              " chunks, too many for readers; " + rest + " was not checked.");
        break;
    case ChunkWalk::Stop::Unreadable:
        Structure("rest", "The file cannot be read: " + walk.ReadError() + ". Therefore " + rest +
                              " was not checked.");
        break;
    }
}

void LayoutCheck::CheckEnd(ChunkWalk& walk) {
    const bool isCounted = outerSize_ > static_cast<uint64_t>(walk.Position());  // by the outer size
    if (BeginsUnpadded(walk)) {
        Structure("rest", NoChunkFault(walk));
    } else if (walk.BytesLeft() > 0 && isCounted) {
        Odd("rest", "After the last chunk, from " + Grouped(walk.Position()) + ", the file goes on for " +
                        Bytes(walk.BytesLeft()) + ", too few for a chunk.");
    } else if (walk.BytesLeft() == 0 && last_ && last_->dataBytes == 0 && !isCounted) {
        Odd("empty end", Named(*last_) + " is empty and ends the file; some readers ignore it.");
    }
}

// Whether the walk stopped because a chunk begins where padding should be.
bool LayoutCheck::BeginsUnpadded(ChunkWalk& walk) const {
    return last_ && last_->paddingBytes != 0 && walk.ChunkBeginsAt(last_->DataEnd());
}

std::string LayoutCheck::NoChunkFault(ChunkWalk& walk) const {
    const std::string place = "At " + Grouped(walk.Position()) + (last_ ? ", after " + Named(*last_) : "");
    const std::string rest = "the rest of the file, " + Bytes(walk.BytesLeft()) + ", belongs to no chunk.";
    if (BeginsUnpadded(walk)) {
        return place + ", a chunk should begin. It begins at " + Grouped(last_->DataEnd()) +
               ", without padding in between, so for readers " + rest;
    }
    return place + ", a chunk should begin and does not; " + rest;
}

void LayoutCheck::CheckOuterSize(ChunkWalk::Stop stop) {
    const auto fileBytes = static_cast<uint64_t>(fileBytes_);
    if (outerSize_ != fileBytes && !OuterSizeFitsLastPadding()) {
        Fault("outer size", OuterFault(stop));
        const bool endsAudio = data_ && outerSize_ < static_cast<uint64_t>(data_->DataEnd());
        const auto audio = FindAudio(file_);
        const bool isUnfinished = audio && audio->end > audio->chunk.DataEnd();
        if (endsAudio || isUnfinished || outerSize_ > fileBytes) structureIsFaulty_ = true;
        return;
    }
    if (outerSize_ != fileBytes) {
        lacksPadding_ = true;
        Odd("outer size", "The file header says that the file has " + Bytes(outerSize_) + "; it has " +
                              Bytes(fileBytes) + ". The difference is padding after the last chunk.");
    } else if (outerSize_ % 8 != 0 && !EndsWithoutPadding()) {
        Odd("outer size", "The file has " + Bytes(outerSize_) + ", which is not a multiple of 8.");
    }
}

// Some writers omit the last padding, or do not count it.
bool LayoutCheck::OuterSizeFitsLastPadding() const {
    if (!last_ || !last_->HasKnownEnd()) return false;
    const auto unpadded = static_cast<uint64_t>(last_->DataEnd());
    const uint64_t padded = unpadded + static_cast<uint64_t>(GetPaddingBytes(last_->DataEnd()));
    const auto isEnd = [&](uint64_t size) { return size >= unpadded && size <= padded; };
    return isEnd(outerSize_) && isEnd(static_cast<uint64_t>(fileBytes_));
}

std::string LayoutCheck::OuterFault(ChunkWalk::Stop stop) const {
    const auto fileBytes = static_cast<uint64_t>(fileBytes_);
    const std::string says =
        "The file header says that the file has " + Bytes(outerSize_) + "; it has " + Bytes(fileBytes);
    if (outerSize_ == 0) return says + ". The recording was never finished.";
    if (outerSize_ == static_cast<uint32_t>(fileBytes)) {
        return says + ": the size was truncated to 32 bits.";
    }
    if (outerSize_ > fileBytes) {
        if (outerSize_ > kMaxRecordingBytes) return says + ", and no recording is that long.";
        return says + ": " + Bytes(outerSize_ - fileBytes) + " fewer" +
               (stop == ChunkWalk::Stop::FileEnd ? ", though no chunk is cut off." : ".");
    }
    return says + ". Readers ignore the last " + Bytes(fileBytes - outerSize_) +
           ", and editors cut them off.";
}

void LayoutCheck::CheckWhatIsThere() {
    if (!format_) Fault("no format", "There is no format chunk ('fmt '), which says how to read the audio.");
    if (!data_) Fault("no audio", "There is no audio chunk ('data').");
    if (format_ && data_ && data_->position < format_->position) {
        Fault("order", "The audio, " + Named(*data_) + ", comes before its format, " + Named(*format_) +
                           "; many readers expect the format first.");
    }
    if (format_ && format_->fit == ChunkFit::Whole) CheckFormat();
    if (slackBytes_ > kLargeSlack) {
        Odd("slack", "Padding chunks ('JUNK' and 'PAD ') keep " + Bytes(slackBytes_) + " free.");
    }
}

void LayoutCheck::CheckFormat() {
    auto record = ReadFormatRecord(file_, format_->DataPosition(), format_->dataBytes);
    if (!record) {
        Fault("format", Named(*format_) + " cannot be read.");
        return;
    }
    if (record->size() < sizeof(WAVEFORMAT)) {
        Fault("format", Named(*format_) + " has " + Bytes(format_->dataBytes) +
                            " of data, too few for a format, which takes at least 14.");
        return;
    }
    const auto stored = base::Load<WAVEFORMAT>(record->data());
    const XAudioWFX format(record->data(), static_cast<unsigned>(record->size()));
    if (stored.nChannels == 0 || stored.nSamplesPerSec == 0) {
        Fault("format", Named(*format_) + " says " + DescribeFormat(format) + ", which is impossible.");
        return;
    }
    if (!HasFrames(format)) return;
    if (format.BlockAlign() != stored.nBlockAlign) {
        Fault("format", Named(*format_) + " says that a frame (one sample of every channel) takes " +
                            Bytes(stored.nBlockAlign) + ", but " + DescribeFormat(format) + " makes " +
                            Bytes(format.BlockAlign()) + "; readers use one or the other.");
    } else if (data_ && data_->HasKnownEnd()) {
        CheckFrames(format.BlockAlign());
    }
}

void LayoutCheck::CheckFrames(int64_t frameBytes) {
    const int64_t frames = data_->dataBytes / frameBytes;
    if (const int64_t more = data_->dataBytes % frameBytes; more != 0) {
        const bool isPadding = EndsInCountedPadding(more);
        Add(!isPadding, "frames",
            Named(*data_) + " ends within a frame (one sample of every channel): its " +
                Bytes(data_->dataBytes) + " are " + Grouped(frames) + " frames of " + Bytes(frameBytes) +
                " and " + Bytes(more) + " more" + (isPadding ? kCountedPadding : "."));
    }
    if (fact_ && fact_->fit == ChunkFit::Whole) CheckFact(frames, frameBytes);
}

void LayoutCheck::CheckFact(int64_t frames, int64_t frameBytes) {
    std::array<uint8_t, 8> field{};
    const int64_t fieldBytes = fact_->dataBytes < 8 ? 4 : 8;
    if (fact_->dataBytes < fieldBytes ||
        !Read(fact_->DataPosition(), std::span(field).first(static_cast<size_t>(fieldBytes)))) {
        Odd("fact",
            Named(*fact_) +
                " should hold the number of frames (one sample of every channel) in at least 4 bytes; "
                "it has " +
                Bytes(fact_->dataBytes) + ".");
        return;
    }
    // A 32-bit field holds only the low 32 bits.
    const auto said = base::Load<uint64_t>(field.data());
    const auto expected = static_cast<uint64_t>(frames);
    if (said == (fieldBytes == 4 ? static_cast<uint32_t>(expected) : expected)) return;
    const uint64_t framesMore = expected - said;
    const bool isPadding =
        said < expected && framesMore < 8 &&
        EndsInCountedPadding(static_cast<int64_t>(framesMore) * frameBytes + data_->dataBytes % frameBytes);
    Add(!isPadding, "fact",
        Named(*fact_) + " says that there are " + Grouped(said) +
            " frames (one sample of every channel), but " + Named(*data_) + " holds " + Grouped(frames) +
            (isPadding ? kCountedPadding : "."));
}

// Some writers pad the audio to a multiple of 8 and count the padding as audio.
bool LayoutCheck::EndsInCountedPadding(int64_t bytes) {
    std::array<uint8_t, 8> end{};
    if (bytes >= 8 || data_->dataBytes % 8 != 0) return false;
    const auto padding = std::span(end).first(static_cast<size_t>(bytes));
    return Read(data_->DataEnd() - bytes, padding) && std::ranges::count(padding, 0) == bytes;
}

bool LayoutCheck::Read(int64_t position, std::span<uint8_t> bytes) {
    return file_.SetPosition(position) && file_.Read(bytes.data(), bytes.size()) == bytes.size();
}

void LayoutCheck::Structure(std::string_view category, std::string text) {
    structureIsFaulty_ = true;
    Fault(category, std::move(text));
}

void LayoutCheck::Add(bool isFault, std::string_view category, std::string text) {
    Category& seen = categories_[category];
    if (seen.count++ < kMaxPerCategory) {
        seen.lastListed = findings_.size();
        findings_.push_back({isFault, std::move(text), 0});
    } else {
        ++findings_[seen.lastListed].alike;
    }
}

}  // namespace w64
