#include "host/formats/PartLayout.h"

#include "base/LittleEndian.h"
#include "host/files/FileCopy.h"
#include "host/formats/SourceHeaders.h"
#include "host/formats/Wave64Writer.h"
#include "host/layout/ChunkKind.h"
#include "host/tagging/BroadcastExtension.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <array>
#include <cstddef>

namespace w64 {

namespace {

bool IsCalled(const WalkedChunk& chunk, const char* code) {
    return CompareGUID(chunk.identifier, RIFFChnkID(code));
}

bool IsList(const WalkedChunk& chunk) { return CompareGUID(chunk.identifier, kSummaryListCode); }

void Put(XFile& out, std::span<const uint8_t> bytes) {
    if (!out.Write(bytes.data(), bytes.size())) throw SystemFailure("cannot write");
}

void PutPadding(XFile& out, int64_t dataBytes) {
    constexpr std::array<uint8_t, 8> zeros{};
    Put(out, std::span(zeros).first(static_cast<size_t>(GetPaddingBytes(dataBytes))));
}

void PutHeader(XFile& out, const GUID& identifier, int64_t dataBytes) {
    std::array<uint8_t, kChunkHeaderBytes> header;
    base::Store(header.data(), identifier);
    base::Store(header.data() + 16, kChunkHeaderBytes + dataBytes);
    Put(out, header);
}

std::vector<uint8_t> ReadBytes(XFile& file, int64_t position, int64_t bytes) {
    std::vector<uint8_t> read(static_cast<size_t>(bytes));
    if (!file.SetPosition(position) || file.Read(read.data(), read.size()) < read.size()) {
        throw SystemFailure("cannot read the file");
    }
    return read;
}

// Texts of markers are in a list of their own.
bool HoldsMarkers(XFile& file, const WalkedChunk& chunk) {
    if (!IsOneOf(chunk.identifier, {"LIST"}) || chunk.dataBytes < 4) return false;
    const auto type = ReadBytes(file, chunk.DataPosition(), 4);
    return std::string(type.begin(), type.end()) == "adtl";
}

bool HoldsPlaces(XFile& file, const WalkedChunk& chunk) {
    return IsOneOf(chunk.identifier, {"cue ", "plst", "smpl", "mark", "MARK", "regn", "strg", "acid"}) ||
           HoldsMarkers(file, chunk);
}

}  // namespace

PartLayout::PartLayout(const Recording& recording, Kind kind)
    : recording_(recording), format_(recording.FormatRecord()), frameBytes_(recording.FrameBytes()) {
    if (kind == Kind::OneChannel) {
        if (frameBytes_ % recording.Format().Channels() != 0) throw Failure("its samples are no whole bytes");
        frameBytes_ /= recording.Format().Channels();
        format_ = FormatOfOneChannel();
    }
    InputFile file(recording.Name());
    Sort(file, kind);
}

void PartLayout::Sort(XFile& file, Kind kind) {
    std::vector<WalkedChunk> lists;
    for (const WalkedChunk& chunk : recording_.Chunks()) {
        const ChunkKind purpose = KindOfChunk(chunk.identifier);
        if (purpose == ChunkKind::Audio || purpose == ChunkKind::Slack || IsCalled(chunk, "ds64")) continue;
        const bool isStale = IsCalled(chunk, "levl") ||
                             (kind == Kind::OneChannel ? IsCalled(chunk, "chna") : HoldsPlaces(file, chunk));
        if (isStale) {
            AddOnce(leftOut_,
                    HoldsMarkers(file, chunk) ? "texts of markers" : ContentOf(ChunkName(chunk.identifier)));
        } else {
            (IsList(chunk) ? lists : recording_.IsBeforeAudio(chunk) ? before_ : after_).push_back(chunk);
        }
    }
    before_.insert(before_.end(), lists.begin(), lists.end());
}

std::string PartLayout::NoteOfLeftOut() const {
    return "note: left out, as they are about the whole: " + Joined(leftOut_, ", ");
}

// The mask would name several speakers.
std::vector<uint8_t> PartLayout::FormatOfOneChannel() const {
    std::vector<uint8_t> record = recording_.FormatRecord();
    const auto bytes = static_cast<uint16_t>(frameBytes_);
    base::Store<uint16_t>(record.data() + offsetof(tWAVEFORMATEX, nChannels), 1);
    base::Store(record.data() + offsetof(tWAVEFORMATEX, nAvgBytesPerSec),
                recording_.Format().SamplesPerSec() * bytes);
    base::Store(record.data() + offsetof(tWAVEFORMATEX, nBlockAlign), bytes);
    if (recording_.Format().IsExtensible() && record.size() >= sizeof(WAVEFORMATEXTENSIBLE)) {
        base::Store<uint32_t>(record.data() + offsetof(WAVEFORMATEXTENSIBLE, dwChannelMask), 0);
    }
    return record;
}

int64_t PartLayout::BytesOf(const WalkedChunk& chunk) const {
    const bool isFormat = KindOfChunk(chunk.identifier) == ChunkKind::Format;
    return isFormat ? std::ssize(format_) : chunk.dataBytes;
}

int64_t PartLayout::FileBytes(int64_t frames) const {
    int64_t bytes = kOuterHeaderBytes + kDefaultPadding + kChunkHeaderBytes + Padded(frames * frameBytes_);
    for (const auto* chunks : {&before_, &after_}) {
        for (const WalkedChunk& chunk : *chunks) bytes += kChunkHeaderBytes + Padded(BytesOf(chunk));
    }
    return bytes;
}

void PartLayout::Begin(XFile& out, const FrameRange& part) const {
    InputFile in(recording_.Name());
    Put(out, OuterHeaderOf(FileBytes(part.frames)));
    for (const WalkedChunk& chunk : before_) Write(out, in, chunk, part);
    constexpr int64_t kRoom = kDefaultPadding - kChunkHeaderBytes;
    PutHeader(out, ConvertToGUID(RIFFChnkID("junk")), kRoom);
    Put(out, std::vector<uint8_t>(kRoom));
    PutHeader(out, recording_.Audio().identifier, part.frames * frameBytes_);
}

void PartLayout::End(XFile& out, const FrameRange& part) const {
    InputFile in(recording_.Name());
    PutPadding(out, part.frames * frameBytes_);
    for (const WalkedChunk& chunk : after_) Write(out, in, chunk, part);
}

void PartLayout::Write(XFile& out, XFile& in, const WalkedChunk& chunk, const FrameRange& part) const {
    const int64_t bytes = BytesOf(chunk);
    const std::vector<uint8_t> beginning = NewBeginning(in, chunk, part);
    const int64_t written = std::ssize(beginning);
    PutHeader(out, chunk.identifier, bytes);
    Put(out, beginning);
    CopyRange(in, chunk.DataPosition() + written, bytes - written, out);
    PutPadding(out, bytes);
}

// What differs from the recording: the format, the number of frames, the time of a broadcast extension.
std::vector<uint8_t> PartLayout::NewBeginning(XFile& in, const WalkedChunk& chunk,
                                              const FrameRange& part) const {
    if (KindOfChunk(chunk.identifier) == ChunkKind::Format) return format_;
    std::vector<uint8_t> beginning;
    if (IsCalled(chunk, "fact") && chunk.dataBytes >= 4) {
        beginning.resize(sizeof part.frames);
        base::Store(beginning.data(), part.frames);
        if (chunk.dataBytes < 8) beginning.resize(4);
    } else if (IsCalled(chunk, "bext") && chunk.dataBytes >= int64_t{BroadcastExtension::kMinBytes}) {
        constexpr auto kTime = int64_t{BroadcastExtension::kTimeReferenceAt};
        beginning = ReadBytes(in, chunk.DataPosition(), kTime + 8);
        uint8_t* time = beginning.data() + kTime;
        base::Store(time, base::Load<uint64_t>(time) + static_cast<uint64_t>(part.start));
    }
    return beginning;
}

}  // namespace w64
