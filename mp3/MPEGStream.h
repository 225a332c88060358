#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "base/XFile.h"
#include "interface/w64_decoder.h"

#include <cstdio>
#include <memory>
#include <mpg123.h>
#include <span>

namespace w64 {

// What one step of decoding came to.
enum class MPEGStep { Decoded, InputUsedUp, Failed };

// One stream of MPEG audio (MPEG-1, 2 and 2.5, layers 1 to 3), decoded to 32-bit float by libmpg123: from
// packets that are cut anywhere, or from a file.
// Packets: give the samples that libmpg123 gives for all of them in one piece. Encoder delay and padding stay
//          in (no MPG123_GAPLESS): packets may come from anywhere in a recording, and trimming by counted
//          MPEG frames would then cut into its audio.
// Files:   are trimmed to the samples that were encoded, where the encoder has noted them.
// Damage:  is skipped up to the next MPEG frame, with a line of information. The first MPEG frame counts only
//          where a second one follows. One of another rate or number of channels is taken for damage; a second
//          such one right behind it means that the stream has changed its format, which is an error.
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

    // Takes a copy. At most 64 MiB may wait for the rest of an MPEG frame or of a tag.
    [[nodiscard]] bool Feed(const void* packet, size_t bytes);

    // No packet continues the last one; fails when none held an MPEG frame since the stream was opened.
    [[nodiscard]] bool EndPackets();

    // The next packet does not continue the last one.
    [[nodiscard]] bool RestartPackets();

    // Within a file: to a frame before its end.
    [[nodiscard]] bool Seek(int64_t frame);

    // Appends the samples of the next MPEG frame to `audio`, which grows for them up to 4 GiB.
    MPEGStep DecodeFrame(XAudioBufferNew& audio);

    // Of the last MPEG frame; the rate is 0 before the first one.
    int SamplesPerSec() const { return static_cast<int>(frame_.rate); }
    int Channels() const { return frame_.mode == MPG123_M_MONO ? 1 : 2; }
    int Layer() const { return frame_.layer; }
    uint32_t BitRate() const { return static_cast<uint32_t>(frame_.bitrate) * 1000; }

    // Of a file, found by reading it through.
    int64_t Length() const { return length_; }            // frames
    int64_t StoredBytes() const { return storedBytes_; }  // from the first MPEG frame on
    uint32_t AverageBytesPerSec() const { return averageBytesPerSec_; }

private:
    struct DeleteHandle {
        void operator()(mpg123_handle* handle) const { mpg123_delete(handle); }
    };
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

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
    std::unique_ptr<std::FILE, CloseFile> file_;  // buffers what the handle reads
    std::unique_ptr<mpg123_handle, DeleteHandle> handle_;
    mpg123_frameinfo frame_{};  // the last one that was taken
    mpg123_frameinfo stray_{};  // the last one that was taken for damage
    int64_t strayEnd_ = -1;
    int64_t nextByte_ = -1;  // where an MPEG frame is expected; -1: anywhere
    int64_t fedBytes_ = 0;
    int64_t length_ = 0;
    int64_t storedBytes_ = 0;
    uint32_t averageBytesPerSec_ = 0;
};

}  // namespace w64
