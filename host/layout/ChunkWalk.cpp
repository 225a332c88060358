#include "host/layout/ChunkWalk.h"

#include "base/LittleEndian.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <span>

namespace w64 {

namespace {

constexpr int64_t kFourGiB = int64_t{1} << 32;
constexpr const char* kNoWave64 = "This is not a Wave64 file: ";

}  // namespace

uint64_t ReadOuterSize(XFile& file) {
    std::array<uint8_t, kOuterHeaderBytes> header{};
    const int64_t fileBytes = file.Size();
    if (fileBytes == 0) throw Failure("The file is empty.");
    if (!file.SetPosition(0)) throw SystemFailure("The file cannot be read");
    const size_t got = file.Read(header.data(), header.size());
    if (static_cast<int64_t>(got) < std::min<int64_t>(fileBytes, header.size())) {
        throw SystemFailure("The file cannot be read");
    }
    const auto identifier = base::Load<GUID>(header.data());
    if (RIFFChnkGUID2CHR(identifier) == "RIFF" || RIFFChnkGUID2CHR(identifier) == "RF64") {
        throw Failure(kNoWave64 + ("it begins with '" + RIFFChnkGUID2CHR(identifier)) +
                      "', like a WAV file.");
    }
    if (got < header.size()) {
        throw Failure(kNoWave64 + ("it has " + std::to_string(got)) +
                      " bytes, fewer than the 40 of a Wave64 header.");
    }
    if (!CompareGUID(identifier, RIFFChnkID("RIFF"))) {
        throw Failure(kNoWave64 + std::string("its first 16 bytes are not the Wave64 identifier."));
    }
    if (!CompareGUID(base::Load<GUID>(header.data() + 24), RIFFChnkID("WAVE"))) {
        throw Failure(kNoWave64 + std::string("the 16 bytes at 24 are not the identifier of audio (WAVE)."));
    }
    return base::Load<uint64_t>(header.data() + 16);
}

std::array<uint8_t, kOuterHeaderBytes> OuterHeaderOf(int64_t fileBytes) {
    std::array<uint8_t, kOuterHeaderBytes> header;
    base::Store(header.data(), ConvertToGUID(RIFFChnkID("RIFF")));
    base::Store(header.data() + 16, fileBytes);
    base::Store(header.data() + 24, ConvertToGUID(RIFFChnkID("WAVE")));
    return header;
}

ChunkWalk::ChunkWalk(XFile& file, uint64_t outerSize, int64_t start)
    : file_(file), fileBytes_(file.Size()), outerSize_(outerSize), position_(start) {}

std::optional<WalkedChunk> ChunkWalk::Next() {
    Interrupt::Check();
    const auto stop = [this](Stop reason) {
        stop_ = reason;
        return std::nullopt;
    };
    if (stop_) return std::nullopt;
    if (BytesLeft() < kChunkHeaderBytes) return stop(Stop::FileEnd);
    if (IsAtOuterEnd()) return stop(Stop::OuterEnd);
    if (count_++ == kMaxChunks) return stop(Stop::TooMany);
    auto chunk = ReadHeader(position_);
    if (!chunk) return stop(Stop::Unreadable);
    MeasureData(*chunk);
    if (!chunk->HasKnownEnd()) {
        if (!HasName(chunk->identifier)) return stop(Stop::NoChunk);
        stop_ = Stop::FaultyChunk;
    } else {
        MeasurePadding(*chunk);
    }
    lastDataEnd_ = chunk->DataEnd();
    position_ = chunk->End();
    return chunk;
}

bool ChunkWalk::ChunkBeginsAt(int64_t position) {
    const auto chunk = fileBytes_ - position < kChunkHeaderBytes ? std::nullopt : ReadHeader(position);
    return chunk && HasName(chunk->identifier) && IsWholeAt(position);
}

// Null on a read error; the file is long enough.
const uint8_t* ChunkWalk::At(int64_t position, int64_t bytes) {
    if (position < windowStart_ || position + bytes > windowStart_ + windowBytes_) {
        windowStart_ = position;
        errno = 0;
        const bool found = file_.SetPosition(position);
        windowBytes_ = found ? static_cast<int64_t>(file_.Read(window_.data(), window_.size())) : 0;
        if (windowBytes_ < bytes) {
            readError_ = errno != 0 ? std::generic_category().message(errno) : "it has become shorter";
            return nullptr;
        }
    }
    return window_.data() + (position - windowStart_);
}

std::optional<WalkedChunk> ChunkWalk::ReadHeader(int64_t position) {
    const uint8_t* header = At(position, kChunkHeaderBytes);
    if (!header) return std::nullopt;
    WalkedChunk chunk;
    chunk.identifier = base::Load<GUID>(header);
    chunk.position = position;
    chunk.sizeField = base::Load<uint64_t>(header + 16);
    return chunk;
}

// The end of the file, or a header with a plausible size.
bool ChunkWalk::IsWholeAt(int64_t position) {
    if (fileBytes_ - position < kChunkHeaderBytes) return true;
    const auto chunk = ReadHeader(position);
    return chunk && chunk->sizeField >= kChunkHeaderBytes &&
           chunk->sizeField <= static_cast<uint64_t>(fileBytes_ - position);
}

void ChunkWalk::MeasureData(WalkedChunk& chunk) {
    const int64_t present = fileBytes_ - chunk.DataPosition();
    if (chunk.sizeField < kChunkHeaderBytes) {
        chunk.fit = ChunkFit::TooSmall;
        return;
    }
    if (chunk.ClaimedBytes() > static_cast<uint64_t>(present)) {
        chunk.fit = ChunkFit::Outside;
        chunk.dataBytes = present;
        return;
    }
    chunk.dataBytes = static_cast<int64_t>(chunk.ClaimedBytes());
    // The rest of the file is shorter than 4 GiB, so the largest size with these low bits is the real one.
    const int64_t uncut = chunk.dataBytes + (present - chunk.dataBytes) / kFourGiB * kFourGiB;
    if (chunk.dataBytes >= kFourGiB || uncut == chunk.dataBytes) return;
    const auto next = [&](int64_t bytes) {
        const int64_t end = chunk.DataPosition() + bytes;
        return Padded(end);
    };
    if (!IsWholeAt(next(chunk.dataBytes)) && IsWholeAt(next(uncut))) {
        chunk.fit = ChunkFit::CutTo32Bits;
        chunk.dataBytes = uncut;
    }
}

// Also shows whether the chunk's last byte can be read.
void ChunkWalk::MeasurePadding(WalkedChunk& chunk) {
    const int64_t end = chunk.DataEnd();
    chunk.paddingBytes = std::min<int64_t>(GetPaddingBytes(end), fileBytes_ - end);
    const uint8_t* tail = At(end - 1, 1 + chunk.paddingBytes);
    if (!tail) {
        stop_ = Stop::Unreadable;
        return;
    }
    const std::span padding(tail + 1, static_cast<size_t>(chunk.paddingBytes));
    chunk.zeroPadding = std::ranges::count(padding, 0) == chunk.paddingBytes;
}

// Not if the outer size is that of a file without chunks, as recorders write it at first.
bool ChunkWalk::IsAtOuterEnd() const {
    return count_ != 0 && outerSize_ >= static_cast<uint64_t>(lastDataEnd_) &&
           outerSize_ <= static_cast<uint64_t>(position_);
}

}  // namespace w64
