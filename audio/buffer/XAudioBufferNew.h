#pragma once

#include "audio/format/XAudioWFX.h"

namespace w64 {

// Interleaved audio with its format, in memory of its own or borrowed.
// Units:  sizes and positions are bytes where the name says so; "samples" here are frames.
// Shape:  0 <= read position <= used size <= capacity. Owned memory is kept when a buffer shrinks or borrows,
//         so a buffer that serves a stream block by block is allocated once.
// Owner:  borrowed memory belongs to the lender and must stay valid while it is borrowed. A copied buffer
//         always owns its memory.
// Errors: false, without a message, when memory runs out or a size is negative. After a constructor check
//         IsBufferValid(); a copy throws std::bad_alloc.
class XAudioBufferNew : public XAudioWFX {
public:
    XAudioBufferNew() = default;
    XAudioBufferNew(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool inPlace);
    XAudioBufferNew(int64_t frames, const tWAVEFORMATEX* format, bool silence);
    XAudioBufferNew(bool inPlace, XAudioBufferNew& other);
    XAudioBufferNew(const XAudioBufferNew& other);
    XAudioBufferNew& operator=(const XAudioBufferNew& other);
    ~XAudioBufferNew() = default;

    // Empties the buffer and takes the format. Null data: allocates `bytes` of owned memory, none of them
    // used. Otherwise the buffer holds the data, borrowed when inPlace, copied when not.
    [[nodiscard]] bool InitializeBuffer(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool silence,
                                        bool inPlace);
    [[nodiscard]] bool InitializeBuffer(bool inPlace, XAudioBufferNew& other);

    // Owned memory of the given size, the position at 0. With `keep` the contents stay as far as they fit,
    // borrowed ones included, and only what follows them is silenced; without it the buffer is empty.
    [[nodiscard]] bool SetBufferSize(int64_t frames, const tWAVEFORMATEX* format, bool silence, bool keep);
    [[nodiscard]] bool SetBufferByteSizeNew(int64_t bytes, bool silence, bool keep);

    // Copies frames from `srcOffset` of the source to `dstOffset` of the buffer, which grows if needed. The
    // source must be outside the buffer. Does nothing for a null source, or where the copy would leave a gap
    // after the capacity. False only when memory runs out.
    [[nodiscard]] bool CopyToBuffer(const void* src, int64_t frames, int64_t srcOffset, int64_t dstOffset);

    // Copies frames out. Does nothing unless all of them are there.
    void CopyFromBuffer(void* dst, int64_t frames, int64_t dstOffset, int64_t srcOffset) const;

    uint8_t* BufferStart() { return data_; }
    const uint8_t* BufferStart() const { return data_; }
    bool IsBufferValid() const { return data_ != nullptr; }
    int64_t TotalBytes() const { return capacity_; }
    int64_t TotalSamples() { return BytesToSamples_DivChan(capacity_); }

    int64_t SampleToBytes(int64_t frames) const { return SamplesToBytes_DivChan(frames); }
    void SetUsedByte(int64_t bytes);  // limited to the capacity; limits the position
    int64_t GetUsedByte() const { return used_; }
    void SetUsedSample(int64_t frames) { SetUsedByte(SampleToBytes(frames)); }
    int64_t GetUsedSample() { return BytesToSamples_DivChan(used_); }

    void SetPosByte(int64_t bytes);  // limited to the used size
    int64_t GetPosByte() const { return position_; }
    int64_t PosLeftByte() const { return used_ - position_; }

    // Fills the whole capacity: with 0x80 for 8 bits, which are unsigned, with 0 for all other widths.
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

}  // namespace w64
