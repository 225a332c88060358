#pragma once

#include "audio/XAudioWFX.h"

// Interleaved audio with its format, in memory of its own or borrowed from somebody else.
// Units:  sizes and positions are bytes where the name says so; "samples" here are frames.
// Shape:  0 <= read position <= used size <= capacity. Owned memory is kept for the next use when a buffer
//         shrinks or borrows, so a buffer that serves a stream block by block is allocated once.
// Owner:  borrowed memory belongs to its lender, and lives and stays where it is as long as it is borrowed.
//         A copied buffer always owns its memory.
// Errors: false, without a message, when there is no memory or a size is negative. A constructor shows it by
//         IsBufferValid() and a copy by std::bad_alloc.
class XAudioBufferNew : public XAudioWFX {
public:
    XAudioBufferNew() = default;
    XAudioBufferNew(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool inPlace);
    XAudioBufferNew(int64_t frames, const tWAVEFORMATEX* format, bool silence);
    XAudioBufferNew(bool inPlace, XAudioBufferNew& other);
    XAudioBufferNew(const XAudioBufferNew& other);
    XAudioBufferNew& operator=(const XAudioBufferNew& other);
    ~XAudioBufferNew() = default;

    // Empties the buffer and takes the format. Without data it then has `bytes` of owned memory, none of it
    // used; with data it holds them, borrowed when inPlace.
    [[nodiscard]] bool InitializeBuffer(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool silence,
                                        bool inPlace);
    [[nodiscard]] bool InitializeBuffer(bool inPlace, XAudioBufferNew& other);

    // Owned memory of the given size, the position at 0. With `keep` the contents stay as far as they fit,
    // borrowed ones included, and silence falls only behind them; without it the buffer is empty.
    [[nodiscard]] bool SetBufferSize(int64_t frames, const tWAVEFORMATEX* format, bool silence, bool keep);
    [[nodiscard]] bool SetBufferByteSizeNew(int64_t bytes, bool silence, bool keep);

    // Frames in, from `srcOffset` of the source to `dstOffset` of the buffer, which grows for them; the
    // source lies outside the buffer. Nothing happens without a source or when the copy would leave a gap
    // behind the capacity. False only when there is no memory.
    [[nodiscard]] bool CopyToBuffer(const void* src, int64_t frames, int64_t srcOffset, int64_t dstOffset);

    // Frames out; nothing happens when they are not all there.
    void CopyFromBuffer(void* dst, int64_t frames, int64_t dstOffset, int64_t srcOffset) const;

    uint8_t* BufferStart() { return data_; }
    const uint8_t* BufferStart() const { return data_; }
    bool IsBufferValid() const { return data_ != nullptr; }
    int64_t TotalBytes() const { return capacity_; }
    int64_t TotalSamples() { return BytesToSamples_DivChan(capacity_); }

    int64_t SampleToBytes(int64_t frames) const { return SamplesToBytes_DivChan(frames); }
    void SetUsedByte(int64_t bytes);  // cut to the capacity; the position follows
    int64_t GetUsedByte() const { return used_; }
    void SetUsedSample(int64_t frames) { SetUsedByte(SampleToBytes(frames)); }
    int64_t GetUsedSample() { return BytesToSamples_DivChan(used_); }

    void SetPosByte(int64_t bytes);  // cut to the used size
    int64_t GetPosByte() const { return position_; }
    int64_t PosLeftByte() const { return used_ - position_; }

    // Fills the whole capacity: the mid-point for 8 bits, which are unsigned, and zero for every other width.
    void SilenceBuffer() { SilenceFrom(0); }

private:
    void Empty();
    [[nodiscard]] bool CopyIn(const void* data, int64_t bytes);
    [[nodiscard]] bool OwnBytes(int64_t bytes, bool keep);
    void SilenceFrom(int64_t offset);

    XMem owned_;
    uint8_t* data_ = nullptr;  // into owned_, or borrowed
    int64_t capacity_ = 0;
    int64_t used_ = 0;
    int64_t position_ = 0;
    bool borrowed_ = false;
};
