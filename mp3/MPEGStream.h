#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "base/StdioFile.h"
#include "base/XFile.h"
#include "interface/w64_decoder.h"
#include "mp3/library/MPG123Handle.h"

#include <span>

namespace w64 {

// Result of one decoding step.
enum class MPEGStep { Decoded, InputUsedUp, Failed };

// One stream of MPEG audio (MPEG-1, 2 and 2.5, layers 1 to 3), decoded to 32-bit float by libmpg123: from
// packets that are cut anywhere, or from a file.
// Packets: decode to the same samples as their concatenation. Encoder delay and padding are kept (no
//          MPG123_GAPLESS): packets may come from the middle of a recording, where trimming by counted MPEG
//          frames would cut into the audio.
// Files:   are trimmed to the encoded samples if the encoder noted their number.
// Damage:  is skipped up to the next MPEG frame, with a line of information. The first MPEG frame is accepted
//          only if a second one follows. One of another rate or number of channels is treated as damage; a
//          second such one right after it means that the stream changes its format, which is an error.
// Units:   a frame is one sample of every channel; an MPEG frame holds up to 1152 of them.
// Owner:   a file is the caller's and stays open while the stream uses it.
// Errors:  reported, then false or Failed.
class MPEGStream {
public:
    explicit MPEGStream(const STNStdReport& report) : report_(report) {}

    [[nodiscard]] bool OpenPackets();
    [[nodiscard]] bool OpenFile(const XFile& file);
    void Close();
    bool IsOpen() const { return handle_ != nullptr; }

    // Copies the packet. At most 64 MiB may wait for the rest of an MPEG frame or a tag.
    [[nodiscard]] bool Feed(const void* packet, size_t bytes);

    // Ends the stream after the last packet; fails if no MPEG frame was found since it was opened.
    [[nodiscard]] bool EndPackets();

    // The next packet does not continue the last one.
    [[nodiscard]] bool RestartPackets();

    // Files only: to a frame before the end.
    [[nodiscard]] bool Seek(int64_t frame);

    // Appends the samples of the next MPEG frame to `audio`, which grows up to 4 GiB.
    MPEGStep DecodeFrame(XAudioBufferNew& audio);

    // Of the last MPEG frame; the rate is 0 before the first one.
    int SamplesPerSec() const { return static_cast<int>(frame_.rate); }
    int Channels() const { return frame_.mode == MPG123_M_MONO ? 1 : 2; }
    int Layer() const { return frame_.layer; }
    uint32_t BitRate() const { return static_cast<uint32_t>(frame_.bitrate) * 1000; }

    // Files only, measured by reading them through.
    int64_t Length() const { return length_; }            // frames
    int64_t StoredBytes() const { return storedBytes_; }  // from the first MPEG frame on
    uint32_t AverageBytesPerSec() const { return averageBytesPerSec_; }

private:
    [[nodiscard]] bool NewHandle(long unwantedFlags);
    [[nodiscard]] bool MeasureFile(int64_t fileSize);
    [[nodiscard]] bool MakeRoom(XAudioBufferNew& audio);
    MPEGStep DecodeInto(uint8_t* room, std::span<const uint8_t>& samples);
    [[nodiscard]] bool SkipStray(const mpg123_frameinfo& stray);
    bool HasEncoderNotes() const;
    void ReportGap(int64_t end);
    bool Fail(std::wstring_view message);
    bool FailAsLibrary();

    STNStdReport report_;
    StdioFile file_;  // buffers what the handle reads
    MPG123Handle handle_;
    mpg123_frameinfo frame_{};  // the last accepted MPEG frame
    mpg123_frameinfo stray_{};  // the last one treated as damage
    int64_t strayEnd_ = -1;
    int64_t nextByte_ = -1;  // where an MPEG frame is expected; -1: anywhere
    int64_t fedBytes_ = 0;
    int64_t length_ = 0;
    int64_t storedBytes_ = 0;
    uint32_t averageBytesPerSec_ = 0;
};

}  // namespace w64
