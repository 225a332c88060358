#include "mp3/MPEGStream.h"

#include "interface/StdReport.h"

#include <algorithm>
#include <cmath>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace w64 {

namespace {

constexpr const char* kName = "MPEGStream";
constexpr int64_t kMaxFrameBytes = int64_t{1152} * 2 * 4;  // of decoded samples
constexpr int64_t kMaxAudioBytes = std::numeric_limits<uint32_t>::max();
constexpr long kMaxWaitingBytes = 64 << 20;

// MPEG frames to decode before a seek position: a layer 3 frame keeps up to 511 of its bytes in the frames before
// it, which may be small.
constexpr long kFramesAhead = 32;

XStr FormatText(const mpg123_frameinfo& frame) {
    return Int2Str(frame.rate) +
           (frame.mode == MPG123_M_MONO ? L" Hz with 1 channel" : L" Hz with 2 channels");
}

// Buffered, as the library reads a few bytes at a time and often steps back.
ssize_t ReadBuffered(void* file, void* to, size_t bytes) {
    return static_cast<ssize_t>(std::fread(to, 1, bytes, static_cast<std::FILE*>(file)));
}

off_t SeekBuffered(void* file, off_t offset, int origin) {
    auto* stream = static_cast<std::FILE*>(file);
    return ::fseeko(stream, offset, origin) == 0 ? ::ftello(stream) : -1;
}

}  // namespace

bool MPEGStream::OpenPackets() {
    Close();
    return NewHandle(MPG123_GAPLESS) && RestartPackets();
}

bool MPEGStream::OpenFile(const XFile& file) {
    Close();
    const int descriptor = ::fcntl(file.Descriptor(), F_DUPFD_CLOEXEC, 0);
    file_.reset(::fdopen(descriptor, "rb"));
    if (!file_) {
        ::close(descriptor);
        return Fail(L"Error reading file.");
    }
    if (!NewHandle(0)) return false;
    mpg123_handle* handle = handle_.get();
    const bool opened =
        mpg123_replace_reader_handle(handle, ReadBuffered, SeekBuffered, nullptr) == MPG123_OK &&
        mpg123_open_handle(handle, file_.get()) == MPG123_OK;
    return opened ? MeasureFile(file.Size()) : FailAsLibrary();
}

void MPEGStream::Close() {
    handle_.reset();
    file_.reset();
    frame_ = {};
    strayEnd_ = nextByte_ = -1;
}

bool MPEGStream::NewHandle(long unwantedFlags) {
    constexpr long kFlags = MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_SKIP_ID3V2;
    int error = MPG123_OK;
    handle_.reset(mpg123_new(nullptr, &error));
    mpg123_handle* handle = handle_.get();
    if (!handle) return Fail(L"Error from libmpg123: " + Widen(mpg123_plain_strerror(error)));
    const bool set = mpg123_param(handle, MPG123_ADD_FLAGS, kFlags, 0) == MPG123_OK &&
                     mpg123_param(handle, MPG123_REMOVE_FLAGS, unwantedFlags, 0) == MPG123_OK &&
                     mpg123_param(handle, MPG123_RESYNC_LIMIT, -1, 0) == MPG123_OK &&
                     mpg123_param(handle, MPG123_PREFRAMES, kFramesAhead, 0) == MPG123_OK;
    return set || FailAsLibrary();
}

// Reads the file through, as its headers cannot be trusted about the length.
bool MPEGStream::MeasureFile(int64_t fileSize) {
    mpg123_handle* handle = handle_.get();
    if (mpg123_info(handle, &frame_) != MPG123_OK) return Fail(L"Error no MPEG audio found.");
    storedBytes_ = std::max<int64_t>(fileSize - mpg123_framepos(handle), 0);
    if (mpg123_scan(handle) != MPG123_OK) return FailAsLibrary();
    length_ = std::max<int64_t>(mpg123_length(handle), 0);
    const double seconds = static_cast<double>(mpg123_framelength(handle)) * mpg123_tpf(handle);
    const double average = std::round(static_cast<double>(storedBytes_) / seconds);
    averageBytesPerSec_ = static_cast<uint32_t>(std::clamp(average, 0.0, 4294967295.0));
    return true;
}

bool MPEGStream::Feed(const void* packet, size_t bytes) {
    mpg123_handle* handle = handle_.get();
    long waiting = 0;
    mpg123_getstate(handle, MPG123_BUFFERFILL, &waiting, nullptr);
    if (waiting > kMaxWaitingBytes) return Fail(L"Error 64 MiB without an MPEG frame.");
    if (mpg123_feed(handle, static_cast<const uint8_t*>(packet), bytes) != MPG123_OK) return FailAsLibrary();
    fedBytes_ += static_cast<int64_t>(bytes);
    return true;
}

bool MPEGStream::EndPackets() {
    if (frame_.rate == 0) return Fail(L"Error no MPEG audio found.");
    ReportGap(fedBytes_);
    return RestartPackets();
}

bool MPEGStream::RestartPackets() {
    fedBytes_ = nextByte_ = 0;
    strayEnd_ = -1;
    return mpg123_open_feed(handle_.get()) == MPG123_OK || FailAsLibrary();
}

bool MPEGStream::Seek(int64_t frame) {
    nextByte_ = -1;
    return mpg123_seek(handle_.get(), frame, SEEK_SET) >= 0 || FailAsLibrary();
}

MPEGStep MPEGStream::DecodeFrame(XAudioBufferNew& audio) {
    for (;;) {
        if (!MakeRoom(audio)) return MPEGStep::Failed;
        uint8_t* room = audio.BufferStart() + audio.GetUsedByte();
        std::span<const uint8_t> samples;
        const MPEGStep step = DecodeInto(room, samples);
        if (step != MPEGStep::Decoded) return step;

        mpg123_frameinfo frame{};
        mpg123_info(handle_.get(), &frame);
        if (frame_.rate != 0 && !IsSameFormat(frame, frame_)) {
            if (!SkipStray(frame)) return MPEGStep::Failed;
            continue;
        }
        frame_ = frame;
        if (nextByte_ != 0 || !HasEncoderNotes()) ReportGap(mpg123_framepos(handle_.get()));
        nextByte_ = mpg123_tell_stream(handle_.get());
        // The library uses its own buffer again after it restarts.
        if (samples.data() != room) std::copy(samples.begin(), samples.end(), room);
        audio.SetUsedByte(audio.GetUsedByte() + static_cast<int64_t>(samples.size()));
        return step;
    }
}

bool MPEGStream::MakeRoom(XAudioBufferNew& audio) {
    const int64_t wanted = audio.GetUsedByte() + kMaxFrameBytes;
    if (wanted > kMaxAudioBytes) return Fail(L"Error packet holds more than 4 GiB of audio.");
    if (wanted <= audio.TotalBytes()) return true;
    const int64_t bytes = std::min(std::max(wanted, 2 * audio.TotalBytes()), kMaxAudioBytes);
    return audio.SetBufferByteSizeNew(bytes, false, true) || Fail(L"Error allocating decoding buffer.");
}

// Decodes the next MPEG frame, usually into `room`.
MPEGStep MPEGStream::DecodeInto(uint8_t* room, std::span<const uint8_t>& samples) {
    for (;;) {
        mpg123_replace_buffer(handle_.get(), room, kMaxFrameBytes);
        off_t number = 0;
        uint8_t* data = nullptr;
        size_t bytes = 0;
        switch (mpg123_decode_frame(handle_.get(), &number, &data, &bytes)) {
        case MPG123_OK:
            samples = {data, bytes};
            return MPEGStep::Decoded;
        case MPG123_NEW_FORMAT:  // applies to the MPEG frame that the next call decodes
            continue;
        case MPG123_NEED_MORE:
        case MPG123_DONE:
            return MPEGStep::InputUsedUp;
        default:
            FailAsLibrary();
            return MPEGStep::Failed;
        }
    }
}

// Counts its bytes to the gap before the next MPEG frame that is accepted.
bool MPEGStream::SkipStray(const mpg123_frameinfo& stray) {
    const bool follows = mpg123_framepos(handle_.get()) == strayEnd_ && IsSameFormat(stray, stray_);
    stray_ = stray;
    strayEnd_ = mpg123_tell_stream(handle_.get());
    if (!follows) return true;
    return Fail(L"Error MPEG audio changes from " + FormatText(frame_) + L" to " + FormatText(stray) + L".");
}

// They fill the first MPEG frame, which the library skips.
bool MPEGStream::HasEncoderNotes() const {
    long delay = -1;
    mpg123_getstate(handle_.get(), MPG123_ENC_DELAY, &delay, nullptr);
    return delay >= 0;
}

void MPEGStream::ReportGap(int64_t end) {
    if (nextByte_ < 0 || end <= nextByte_) return;
    StdReport::WriteINFO(L"Skipped " + Int2Str(end - nextByte_) + L" bytes at " + Int2Str(nextByte_) +
                             L" that hold no MPEG audio.",
                         report_, kName);
}

bool MPEGStream::FailAsLibrary() {
    return Fail(L"Error from libmpg123: " + Widen(mpg123_strerror(handle_.get())));
}

bool MPEGStream::Fail(std::wstring_view message) { return StdReport::Fail(message, report_, kName); }

}  // namespace w64
