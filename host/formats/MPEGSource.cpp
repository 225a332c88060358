#include "host/formats/MPEGSource.h"

#include "host/formats/MPEGWaveFormat.h"
#include "host/formats/TagLibTags.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "mp3/library/MPG123Handle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace w64 {

namespace {

constexpr int64_t kBlockBytes = 65536;
constexpr long kMaxJunkAtStart = 1024;  // bytes
constexpr int64_t kID3v1Bytes = 128;

// Walks over the MPEG frames of a file without decoding them.
class FrameWalk {
public:
    // Skips up to `maxJunk` bytes in search of an MPEG frame; -1 for no limit.
    FrameWalk(XFile& file, long flags, long maxJunk) : handle_(mpg123_new(nullptr, nullptr)) {
        mpg123_handle* handle = handle_.get();
        const bool opened = handle && file.SetPosition(0) &&
                            mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_SKIP_ID3V2 | flags,
                                         0) == MPG123_OK &&
                            mpg123_param(handle, MPG123_RESYNC_LIMIT, maxJunk, 0) == MPG123_OK &&
                            mpg123_open_fd(handle, file.Descriptor()) == MPG123_OK;
        if (!opened) throw Failure(std::string("cannot read MPEG audio: ") + mpg123_strerror(handle));
    }

    bool Next() {
        int result = mpg123_framebyframe_next(handle_.get());
        if (result == MPG123_NEW_FORMAT) result = MPG123_OK;
        return result == MPG123_OK && mpg123_info(handle_.get(), &frame_) == MPG123_OK;
    }

    const mpg123_frameinfo& Frame() const { return frame_; }
    int Samples() const { return mpg123_spf(handle_.get()); }
    int64_t Start() const { return mpg123_framepos(handle_.get()); }
    int64_t End() const { return mpg123_tell_stream(handle_.get()); }

    // 0 where it is unknown.
    int EncoderDelay() const {
        long delay = 0;
        mpg123_getstate(handle_.get(), MPG123_ENC_DELAY, &delay, nullptr);
        return static_cast<int>(std::clamp(delay, 0L, long{UINT16_MAX}));
    }

private:
    MPG123Handle handle_;
    mpg123_frameinfo frame_{};
};

// What the format record says about the MPEG frames of a stream.
struct StreamSummary {
    mpg123_frameinfo first{};
    int samplesPerMPEGFrame = 0;
    int encoderDelay = 0;
    int64_t frames = 0;
    int64_t bytes = 0;
    bool oneBitRate = true;
    bool oneSize = true;
    uint16_t modes = 0;
    uint16_t modeExtensions = 0;

    void Add(const mpg123_frameinfo& frame) {
        frames += samplesPerMPEGFrame;
        bytes += frame.framesize;
        oneBitRate &= frame.bitrate == first.bitrate;
        oneSize &= frame.framesize == first.framesize;
        modes |= static_cast<uint16_t>(1 << frame.mode);
        if (frame.mode == MPG123_M_JOINT) modeExtensions |= static_cast<uint16_t>(1 << frame.mode_ext);
    }

    uint32_t AvgBytesPerSec() const {
        if (oneBitRate) return static_cast<uint32_t>(first.bitrate) * 125;
        return static_cast<uint32_t>(std::llround(
            static_cast<double>(bytes) * static_cast<double>(first.rate) / static_cast<double>(frames)));
    }

    tWAVEFORMATEX CommonFields(uint16_t tag, size_t recordBytes) const {
        tWAVEFORMATEX format{};
        format.wFormatTag = tag;
        format.nChannels = first.mode == MPG123_M_MONO ? 1 : 2;
        format.nSamplesPerSec = static_cast<uint32_t>(first.rate);
        format.nAvgBytesPerSec = AvgBytesPerSec();
        format.nBlockAlign = 1;
        format.cbSize = static_cast<uint16_t>(recordBytes - sizeof format);
        return format;
    }

    MPEGLAYER3WAVEFORMAT Layer3Format() const {
        MPEGLAYER3WAVEFORMAT format{};
        format.wfx = CommonFields(kTagMPEGLayer3, sizeof format);
        format.wID = kMPEGLayer3ID;
        format.fdwFlags = kMPEGPaddingISO;
        format.nBlockSize = static_cast<uint16_t>(static_cast<uint64_t>(samplesPerMPEGFrame) *
                                                  format.wfx.nAvgBytesPerSec / format.wfx.nSamplesPerSec);
        format.nFramesPerBlock = 1;
        format.nCodecDelay = static_cast<uint16_t>(encoderDelay);
        return format;
    }

    // A block is an MPEG frame only where the whole stream consists of frames of one size.
    MPEG1WAVEFORMAT Layer1Or2Format(int64_t streamBytes) const {
        MPEG1WAVEFORMAT format{};
        format.wfx = CommonFields(kTagMPEG, sizeof format);
        const bool isMadeOfBlocks = oneSize && streamBytes % first.framesize == 0;
        if (isMadeOfBlocks) format.wfx.nBlockAlign = static_cast<uint16_t>(first.framesize);
        format.fwHeadLayer = static_cast<uint16_t>(1 << (first.layer - 1));
        format.dwHeadBitrate = oneBitRate ? format.wfx.nAvgBytesPerSec * 8 : 0;
        format.fwHeadMode = modes;
        format.fwHeadModeExt = modeExtensions;
        format.wHeadEmphasis = static_cast<uint16_t>(first.emphasis + 1);
        format.fwHeadFlags = HeadFlags();
        return format;
    }

    uint16_t HeadFlags() const {
        const auto has = [this](int flag) { return (static_cast<int>(first.flags) & flag) != 0; };
        unsigned flags = 0;
        if (has(MPG123_PRIVATE)) flags |= kMPEGPrivateBit;
        if (has(MPG123_COPYRIGHT)) flags |= kMPEGCopyright;
        if (has(MPG123_ORIGINAL)) flags |= kMPEGOriginal;
        if (!has(MPG123_CRC)) flags |= kMPEGProtectionBit;
        if (first.version == MPG123_1_0) flags |= kMPEGIsMPEG1;
        return static_cast<uint16_t>(flags);
    }
};

}  // namespace

bool MPEGSource::Recognises(const std::string& path) {
    InputFile file(path);
    return FrameWalk(file, 0, kMaxJunkAtStart).Next();
}

MPEGSource::MPEGSource(const std::string& path) : file_(path), block_(kBlockBytes) {
    FrameWalk audio(file_, 0, -1);
    if (!audio.Next()) throw Failure("has no MPEG audio");
    const int64_t firstAudio = audio.Start();
    StreamSummary summary{
        .first = audio.Frame(), .samplesPerMPEGFrame = audio.Samples(), .encoderDelay = audio.EncoderDelay()};

    // An encoder may put an info frame (Xing, LAME) before the first frame of audio. It belongs to the stream.
    FrameWalk all(file_, MPG123_IGNORE_INFOFRAME, -1);
    start_ = firstAudio;
    mpg123_frameinfo stray{};
    int64_t strayEnd = -1;
    while (all.Next()) {
        Interrupt::Check();
        start_ = std::min(start_, all.Start());
        if (all.Start() < firstAudio) continue;
        if (IsSameFormat(all.Frame(), summary.first)) {
            summary.Add(all.Frame());
            end_ = all.End();
            continue;
        }
        // A single one may be damage that looks like a header; two alike in a row are not.
        if (all.Start() == strayEnd && IsSameFormat(all.Frame(), stray)) {
            throw Failure("the MPEG audio changes its rate or channels at " + Grouped(all.Start()));
        }
        stray = all.Frame();
        strayEnd = all.End();
    }
    position_ = start_;
    frames_ = summary.frames;
    if (summary.first.layer == 3) {
        MPEGLAYER3WAVEFORMAT format = summary.Layer3Format();
        format_.Assign(&format, sizeof format);
    } else {
        MPEG1WAVEFORMAT format = summary.Layer1Or2Format(Bytes());
        format_.Assign(&format, sizeof format);
    }
}

std::span<const uint8_t> MPEGSource::Read() {
    const auto wanted = static_cast<size_t>(std::min(kBlockBytes, end_ - position_));
    if (!file_.SetPosition(position_) || file_.Read(block_.data(), wanted) < wanted) {
        throw SystemFailure("cannot read the file");
    }
    position_ += static_cast<int64_t>(wanted);
    return std::span(block_).first(wanted);
}

Metadata MPEGSource::ReadMetadata() {
    Metadata metadata;
    if (HasTags(0, start_) || HasTags(end_, file_.Size())) ReadTagLibTags(file_, ".mp3", metadata);
    return metadata;
}

std::vector<std::string> MPEGSource::DescribeRest() {
    std::vector<std::string> notes;
    const int64_t fileEnd = file_.Size();
    if (start_ > 0 && !HasTags(0, start_)) {
        notes.push_back("left out " + Grouped(start_) + " bytes before the MPEG audio: no whole MPEG frame");
    }
    if (end_ < fileEnd && !HasTags(end_, fileEnd)) {
        notes.push_back("left out " + Grouped(fileEnd - end_) +
                        " bytes after the MPEG audio: no whole MPEG frame");
    }
    return notes;
}

bool MPEGSource::HasTags(int64_t begin, int64_t end) {
    return begin < end && (HasTagAt(begin) || HasTagAt(std::max(begin, end - kID3v1Bytes)));
}

bool MPEGSource::HasTagAt(int64_t position) {
    std::array<char, 8> bytes{};
    const size_t got = file_.SetPosition(position) ? file_.Read(bytes.data(), bytes.size()) : 0;
    const std::string_view text(bytes.data(), got);
    return text.starts_with("ID3") || text.starts_with("TAG") || text.starts_with("APETAGEX");
}

}  // namespace w64
