#include "host/layout/RepairPlan.h"

#include "base/LittleEndian.h"
#include "base/Platform.h"
#include "host/files/Descriptor.h"
#include "host/files/InputFile.h"
#include "host/files/Journal.h"
#include "host/layout/AudioExtent.h"
#include "host/layout/ChunkKind.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/Wave64File.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <span>

namespace w64 {

namespace {

constexpr int64_t kSizeField = 16;  // its place in both kinds of header
constexpr int64_t kMaxDropped = Journal::kMaxBytes / 4;

std::vector<uint8_t> ReadFrom(XFile& file, int64_t position, int64_t bytes) {
    std::vector<uint8_t> read(static_cast<size_t>(std::clamp<int64_t>(file.Size() - position, 0, bytes)));
    if (!file.SetPosition(position) || file.Read(read.data(), read.size()) < read.size()) {
        throw SystemFailure("cannot read the file");
    }
    return read;
}

void WriteAt(XFile& file, int64_t position, std::span<const uint8_t> bytes) {
    if (!file.SetPosition(position) || !file.Write(bytes.data(), bytes.size())) {
        throw SystemFailure("cannot try the repair in memory");
    }
}

template <class T>
std::vector<uint8_t> BytesOf(T number) {
    std::vector<uint8_t> bytes(sizeof number);
    base::Store(bytes.data(), number);
    return bytes;
}

std::string FaultsOf(const LayoutCheck& check) {
    std::string faults;
    for (const LayoutFinding& finding : check.Findings()) {
        if (finding.isFault) faults += "\n" + finding.text;
    }
    return faults;
}

AudioExtent RequireAudio(XFile& file) {
    const auto audio = FindAudio(file);
    if (!audio) throw Failure("cannot be repaired, as no audio is found in it" + FaultsOf(LayoutCheck(file)));
    return *audio;
}

// A part of the file that stays, and how far it moves to the front.
struct KeptRange {
    int64_t position;
    int64_t bytes;
    int64_t shift = 0;
};

class Mender {
public:
    explicit Mender(XFile& file);

    // With `counts` the frames in the chunk "fact" are counted anew.
    RangeEdit Edit(bool counts);
    void Describe(RepairPlan& plan) const;
    int64_t AudioEnd() const { return audioEnd_; }

    // Where LayoutCheck looks.
    const std::vector<KeptRange>& Outline() const { return outline_; }

private:
    void WalkHead();
    void WalkTail();
    void KeepOutline(const WalkedChunk& chunk, int64_t shift);
    void DropRest(const ChunkWalk& walk);

    void PutTail();
    void PutFrameCount();
    void PutSize(int64_t header, int64_t dataBytes);
    void PutPadding(int64_t dataEnd, int64_t there);
    void Put(int64_t position, const std::vector<uint8_t>& bytes);
    void CutOff();

    bool PartIsPadding() const;
    int64_t PaddingThere(int64_t dataEnd) const {
        return std::clamp<int64_t>(fileBytes_ - dataEnd, 0, GetPaddingBytes(dataEnd));
    }

    XFile& file_;
    const int64_t fileBytes_;
    AudioExtent audio_;
    int64_t audioEnd_ = 0;             // of whole frames
    int64_t tailPosition_ = 0;         // of the chunks after the audio
    int64_t shift_ = 0;                // by which they move to the front
    std::optional<WalkedChunk> last_;  // of them
    std::optional<WalkedChunk> fact_;
    std::string lossOfRest_;
    int chunks_ = 0;
    std::vector<KeptRange> outline_;
    RangeEdit edit_;
};

Mender::Mender(XFile& file) : file_(file), fileBytes_(file.Size()), audio_(RequireAudio(file)) {
    audioEnd_ = audio_.chunk.DataPosition() + audio_.BytesOfWholeFrames();
    tailPosition_ = Padded(audio_.end);
    shift_ = tailPosition_ - Padded(audioEnd_);
    WalkHead();
    WalkTail();
}

void Mender::WalkHead() {
    outline_.push_back({0, kOuterHeaderBytes});
    ChunkWalk walk(file_, 0);
    for (auto chunk = walk.Next(); chunk && chunk->position < audio_.chunk.position; chunk = walk.Next()) {
        KeepOutline(*chunk, 0);
    }
    outline_.push_back({audio_.chunk.position, kChunkHeaderBytes});
    constexpr int64_t kLooked = 8;  // if the audio has fewer, its header is before them
    outline_.push_back({audioEnd_ - kLooked, kLooked + PaddingThere(audioEnd_)});
}

void Mender::WalkTail() {
    ChunkWalk walk(file_, 0, std::min(tailPosition_, fileBytes_));
    while (const auto chunk = walk.Next()) {
        last_ = chunk;
        KeepOutline(*chunk, shift_);
    }
    DropRest(walk);
}

void Mender::KeepOutline(const WalkedChunk& chunk, int64_t shift) {
    constexpr int kMaxChunks = 10'000;  // so that the outline stays small
    if (++chunks_ > kMaxChunks) throw Failure("has too many chunks to be repaired");
    constexpr int64_t kMaxFormat = 1 << 17;
    const bool isFormat = KindOfChunk(chunk.identifier) == ChunkKind::Format;
    const int64_t looked = std::min<int64_t>(chunk.dataBytes, isFormat ? kMaxFormat : 8);
    outline_.push_back({chunk.position, kChunkHeaderBytes + looked, shift});
    outline_.push_back({chunk.DataEnd(), chunk.paddingBytes, shift});
    if (!fact_ && CompareGUID(chunk.identifier, RIFFChnkID("fact"))) fact_ = chunk;
}

// Of what follows the last chunk, only the beginning of another header and zeros are known to be worthless.
void Mender::DropRest(const ChunkWalk& walk) {
    if (walk.StoppedBy() == ChunkWalk::Stop::Unreadable) throw Failure("cannot be read: " + walk.ReadError());
    const int64_t bytes = walk.BytesLeft();
    if (bytes == 0) return;
    const auto announced = base::Load<uint64_t>(ReadFrom(file_, kSizeField, 8).data());
    const std::string last = "The last " + Counted(bytes, "byte") + " of the file, ";
    if (bytes < kChunkHeaderBytes && announced > static_cast<uint64_t>(fileBytes_)) {
        lossOfRest_ = last + "the beginning of a chunk that is cut off";
        return;
    }
    const auto isZero = [](uint8_t byte) { return byte == 0; };
    if (bytes > kMaxDropped || !std::ranges::all_of(ReadFrom(file_, walk.Position(), bytes), isZero)) {
        throw Failure("cannot be repaired: the last " + Counted(bytes, "byte") + ", from " +
                      Grouped(walk.Position()) + ", belong to no chunk and may be of value");
    }
    lossOfRest_ = last + "zeros that belong to no chunk";
}

RangeEdit Mender::Edit(bool counts) {
    const int64_t end = last_ ? last_->DataEnd() - shift_ : audioEnd_;
    edit_ = {.lengthBefore = fileBytes_, .lengthAfter = Padded(end), .ranges = {}};
    PutSize(audio_.chunk.position, audioEnd_ - audio_.chunk.DataPosition());
    PutPadding(audioEnd_, audioEnd_ == audio_.end ? PaddingThere(audioEnd_) : 0);
    if (last_) PutTail();
    // Readers skip a chunk header at the very end of a file.
    if (!last_ && end == audio_.chunk.DataPosition()) {
        Put(end, BytesOf(ConvertToGUID(RIFFChnkID("junk"))));
        PutSize(end, 8);
        Put(end + kChunkHeaderBytes, std::vector<uint8_t>(8));
        edit_.lengthAfter += kChunkHeaderBytes + 8;
    }
    if (counts && fact_) PutFrameCount();
    const auto outer = OuterHeaderOf(edit_.lengthAfter);
    Put(0, {outer.begin(), outer.end()});
    CutOff();
    std::ranges::sort(edit_.ranges, {}, &ByteRange::position);
    if (!edit_.IsSound()) throw Failure("cannot be repaired");
    return edit_;
}

void Mender::PutTail() {
    const int64_t end = last_->DataEnd();
    const int64_t bytes = end + PaddingThere(end) - tailPosition_;
    if (shift_ != 0 && bytes > kMaxDropped) throw Failure("cannot be repaired: too much follows the audio");
    if (shift_ != 0) Put(tailPosition_ - shift_, ReadFrom(file_, tailPosition_, bytes));
    if (!last_->HasKnownEnd()) PutSize(last_->position - shift_, last_->dataBytes);
    PutPadding(end - shift_, PaddingThere(end));
}

// In 32 bits as far as they go.
void Mender::PutFrameCount() {
    if (!audio_.format || !HasFrames(*audio_.format) || fact_->dataBytes < 4) return;
    const int64_t frames = audio_.BytesOfWholeFrames() / audio_.format->BlockAlign();
    auto field = BytesOf(frames);
    field.resize(fact_->dataBytes < 8 ? 4 : 8);
    Put(fact_->DataPosition() - (fact_->position < audio_.chunk.position ? 0 : shift_), field);
}

void Mender::PutSize(int64_t header, int64_t dataBytes) {
    Put(header + kSizeField, BytesOf(kChunkHeaderBytes + dataBytes));
}

void Mender::PutPadding(int64_t dataEnd, int64_t there) {
    const int64_t from = dataEnd + there;
    Put(from, std::vector<uint8_t>(static_cast<size_t>(Padded(dataEnd) - from)));
}

// At a place in the repaired file.
void Mender::Put(int64_t position, const std::vector<uint8_t>& bytes) {
    for (ByteRange& range : edit_.ranges) {
        const int64_t offset = position - range.position;
        if (offset < 0 || offset + std::ssize(bytes) > std::ssize(range.after)) continue;
        std::ranges::copy(bytes, range.after.begin() + offset);
        return;
    }
    ByteRange range{position, ReadFrom(file_, position, std::ssize(bytes)), bytes};
    if (range.before != range.after) edit_.ranges.push_back(std::move(range));
}

void Mender::CutOff() {
    const int64_t bytes = edit_.lengthBefore - edit_.lengthAfter;
    if (bytes > 0) edit_.ranges.push_back({edit_.lengthAfter, ReadFrom(file_, edit_.lengthAfter, bytes), {}});
}

void Mender::Describe(RepairPlan& plan) const {
    if (audio_.format) {
        XAudioWFX format(*audio_.format);
        const int64_t bytes = audio_.BytesOfWholeFrames();
        if (HasFrames(format)) plan.frames = bytes / format.BlockAlign();
        plan.milliseconds = format.CalcmsTime(bytes);
    }
    const auto lose = [&plan](const std::string& what) { plan.losses.push_back(what + "."); };
    const auto there = static_cast<uint64_t>(audio_.Bytes());
    const uint64_t missing = audio_.Announced() - std::min(audio_.Announced(), there);
    if (missing > 0 && missing <= kMaxRecordingBytes) {
        lose(Counted(missing, "byte") + " of audio, which the file does not have");
    }
    if (!PartIsPadding()) {
        lose("The last " + Counted(audio_.end - audioEnd_, "byte") +
             " of the audio, a part of a frame (one sample of every channel)");
    }
    if (last_ && last_->fit == ChunkFit::Outside) {
        lose("The end of '" + ChunkName(last_->identifier) + "', which the file does not have");
    }
    if (!lossOfRest_.empty()) lose(lossOfRest_);
}

// Whether what follows the whole frames is nothing, or padding.
bool Mender::PartIsPadding() const {
    const int64_t part = audio_.end - audioEnd_;
    if (part >= 8 || (part > 0 && audio_.end % 8 != 0)) return false;
    const auto isZero = [](uint8_t byte) { return byte == 0; };
    return std::ranges::all_of(ReadFrom(file_, audioEnd_, part), isZero);
}

// The repaired file in memory: all that LayoutCheck looks at.
class Trial {
public:
    Trial(XFile& file, const Mender& mender, const RangeEdit& edit) : memory_(Platform::MemoryFile()) {
        if (!file_.Open(reinterpret_cast<void*>(intptr_t{memory_.Number()})) ||
            !file_.SetFileSize(edit.lengthAfter)) {
            throw SystemFailure("cannot try the repair in memory");
        }
        for (const KeptRange& kept : mender.Outline()) {
            WriteAt(file_, kept.position - kept.shift, ReadFrom(file, kept.position, kept.bytes));
        }
        for (const ByteRange& range : edit.ranges) WriteAt(file_, range.position, range.after);
        if (!file_.SetFileSize(edit.lengthAfter)) throw SystemFailure("cannot try the repair in memory");
    }

    XFile& File() { return file_; }

private:
    Descriptor memory_;
    XFile file_;
};

// What is said of the damaged file only.
std::vector<std::string> Mended(const LayoutCheck& damaged, const LayoutCheck& repaired) {
    std::vector<std::string> mended;
    for (const LayoutFinding& finding : damaged.Findings()) {
        const bool stays = std::ranges::find(repaired.Findings(), finding.text, &LayoutFinding::text) !=
                           repaired.Findings().end();
        if (!stays) mended.push_back(finding.text);
    }
    return mended;
}

RepairPlan Plan(XFile& file) {
    const LayoutCheck damaged(file);
    RepairPlan plan;
    plan.summary = damaged.Summary();
    if (!damaged.HasFaults() && !damaged.LacksPadding()) return plan;
    Mender mender(file);
    std::string faults;
    for (const bool counts : {false, true}) {
        plan.edit = mender.Edit(counts);
        Trial trial(file, mender, plan.edit);
        const LayoutCheck repaired(trial.File());
        faults = FaultsOf(repaired);
        if (!faults.empty()) continue;
        const auto audio = FindAudio(trial.File());
        if (!audio || audio->end != mender.AudioEnd()) break;
        plan.summary = repaired.Summary();
        plan.mended = Mended(damaged, repaired);
        mender.Describe(plan);
        return plan;
    }
    throw Failure("cannot be repaired" +
                  (faults.empty() ? ", as it is unclear where its audio ends" : faults));
}

}  // namespace

RepairPlan PlanRepair(XFile& file) {
    RepairPlan plan = Plan(file);
    RequireNoError(file);
    return plan;
}

}  // namespace w64
