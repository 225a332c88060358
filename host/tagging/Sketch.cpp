#include "host/tagging/Sketch.h"

#include "base/LittleEndian.h"
#include "base/Platform.h"
#include "host/files/Journal.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <iterator>

namespace w64 {

namespace {

constexpr size_t kSizeField = 16;  // its place in both kinds of header
constexpr int64_t kMaxListBytes = int64_t{256} << 20;
constexpr const char* kCannotSketch = "cannot try the edit in memory";

std::vector<uint8_t> ReadFrom(XFile& file, int64_t position, int64_t bytes) {
    std::vector<uint8_t> read(static_cast<size_t>(bytes));
    if (!file.SetPosition(position) || file.Read(read.data(), read.size()) < read.size()) {
        throw SystemFailure("cannot read the file");
    }
    return read;
}

// 64 KiB, and less where there are a great many chunks. No format is that long.
int64_t MaxWhole(int chunks) {
    return std::clamp<int64_t>((64 << 20) / std::max(chunks, 1), 1 << 10, 64 << 10) / 8 * 8;
}

bool IsList(const STRIFFChunk& chunk) { return CompareGUID(chunk.ChunkGUID, kSummaryListCode); }

// What a chunk takes in a file of this size; the padding of the last chunk may be missing.
int64_t Room(const STRIFFChunk& chunk, int64_t fileBytes) {
    const int64_t padded = kChunkHeaderBytes + Padded(chunk.DataSize);
    return std::min(padded, fileBytes - chunk.ChunkPosition);
}

void AddToSize(std::vector<uint8_t>& header, int64_t bytes) {
    uint8_t* field = header.data() + kSizeField;
    base::Store(field, base::Load<int64_t>(field) + bytes);
}

}  // namespace

Sketch::Sketch(XFile& recording) : recording_(recording), memory_(Platform::MemoryFile()) {
    if (!file_.Open(reinterpret_cast<void*>(intptr_t{memory_.Number()}))) throw SystemFailure(kCannotSketch);
    clWave64Handler chunks;
    ScanSound(chunks, recording);
    Copy(0, kOuterHeaderBytes);
    maxWhole_ = MaxWhole(chunks.Count());
    const int data = chunks.IndexOfDataChunk();
    for (int i = 0; i < chunks.Count(); ++i) {
        Add(chunks[i]);
        if (IsList(chunks[i])) (i < data ? hasListBeforeAudio_ : hasListAfterAudio_) = true;
    }
    std::vector<uint8_t> outer = ReadFrom(recording, 0, kOuterHeaderBytes);
    AddToSize(outer, file_.Size() - recording.Size());
    if (!file_.SetPosition(0) || !file_.Write(outer.data(), outer.size())) throw SystemFailure(kCannotSketch);
    before_.emplace(file_);
}

void Sketch::Add(const STRIFFChunk& chunk) {
    const int64_t room = Room(chunk, recording_.Size());
    if (chunk.DataSize > maxWhole_ && !IsList(chunk)) return AddShrunk(chunk, room);
    if (IsList(chunk)) listBytes_ += room;
    if (listBytes_ > kMaxListBytes) throw Failure("has more tags than can be edited, 256 MiB");
    Copy(chunk.ChunkPosition, room);
}

// Its data stays zeros: the edit neither reads nor writes it.
void Sketch::AddShrunk(const STRIFFChunk& chunk, int64_t room) {
    const int64_t position = file_.GetPosition();
    const int64_t rest = maxWhole_ + chunk.DataSize % 8;
    const int64_t cut = chunk.DataSize - rest;
    const int64_t end = position + room - cut;
    std::vector<uint8_t> header = ReadFrom(recording_, chunk.ChunkPosition, kChunkHeaderBytes);
    AddToSize(header, -cut);
    if (!file_.Write(header.data(), header.size()) || !file_.SetFileSize(end) || !file_.SetPosition(end)) {
        throw SystemFailure(kCannotSketch);
    }
    cuts_.push_back({position + kChunkHeaderBytes + rest, cut + (cuts_.empty() ? 0 : cuts_.back().total)});
}

void Sketch::Copy(int64_t position, int64_t bytes) {
    const std::vector<uint8_t> block = ReadFrom(recording_, position, bytes);
    if (!file_.Write(block.data(), block.size())) throw SystemFailure(kCannotSketch);
}

std::filesystem::path Sketch::Path() const { return "/dev/fd/" + std::to_string(memory_.Number()); }

std::optional<RangeEdit> Sketch::StillEdit() {
    const KeptChunks after(file_);
    const std::string difference = before_->DifferenceTo(after);
    if (!difference.empty()) throw Failure("the edit would go wrong: " + difference);
    if (!before_->StandsAs(after)) return {};

    RangeEdit edit{.lengthBefore = recording_.Size(), .lengthAfter = InRecording(file_.Size()), .ranges = {}};
    clWave64Handler chunks;
    ScanSound(chunks, file_);
    if (!AddRanges(chunks, edit)) return {};
    const int64_t cutOff = edit.lengthBefore - edit.lengthAfter;
    if (edit.Bytes() + cutOff > Journal::kMaxBytes / 2) return {};
    if (cutOff > 0) {
        edit.ranges.push_back({edit.lengthAfter, ReadFrom(recording_, edit.lengthAfter, cutOff), {}});
    }
    return edit.IsSound() ? std::optional(std::move(edit)) : std::nullopt;
}

// The outer header, lists, and headers of padding. False where padding that was shrunk is gone or has become a list,
// which does not look in the recording as it does here.
bool Sketch::AddRanges(clWave64Handler& chunks, RangeEdit& edit) {
    AddRange(0, kOuterHeaderBytes, edit.lengthAfter - file_.Size(), edit);
    int64_t found = 0;
    for (int i = 0; i < chunks.Count(); ++i) {
        const STRIFFChunk& chunk = chunks[i];
        const int64_t cut =
            CutUpTo(chunk.FileDataPosition + chunk.DataSize) - CutUpTo(chunk.FileDataPosition);
        found += cut;
        if (IsList(chunk)) {
            if (cut != 0) return false;
            AddRange(chunk.ChunkPosition, Room(chunk, file_.Size()), 0, edit);
        } else if (chunks.IsPadding(i)) {
            AddRange(chunk.ChunkPosition, kChunkHeaderBytes, cut, edit);
        }
    }
    return found == edit.lengthAfter - file_.Size();
}

// The range begins with a header, which stands for `cut` more bytes in the recording.
void Sketch::AddRange(int64_t position, int64_t bytes, int64_t cut, RangeEdit& edit) {
    ByteRange range{InRecording(position), {}, ReadFrom(file_, position, bytes)};
    AddToSize(range.after, cut);
    const int64_t there = std::clamp<int64_t>(recording_.Size() - range.position, 0, bytes);
    range.before = ReadFrom(recording_, range.position, there);
    if (range.before != range.after) edit.ranges.push_back(std::move(range));
}

int64_t Sketch::CutUpTo(int64_t position) const {
    const auto next = std::ranges::upper_bound(cuts_, position, {}, &Cut::position);
    return next == cuts_.begin() ? 0 : std::prev(next)->total;
}

}  // namespace w64
