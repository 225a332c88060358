#pragma once

#include "audio/XAudioBufferNew.h"

// Audio that goes in by buffers and comes out in pieces of other sizes.
// Units:  bytes.
// Owner:  a borrowed buffer's memory belongs to the buffer and has to outlive its use here. What GetDataFrom
//         gives is not to be fed back.
// Errors: false when there is no memory; the audio held is then still there.
class XAudioDataStream : public XAudioWFX {
public:
    static constexpr int64_t kAllBytes = 0xFFFFFFFF;

    XAudioDataStream() = default;
    XAudioDataStream(const XAudioDataStream&) = delete;  // what it refers to has one reader
    XAudioDataStream& operator=(const XAudioDataStream&) = delete;

    // Appends the unread part of the buffer and takes its format, unless that says 0 bits. With `borrow` the
    // memory is referred to and not copied, provided that nothing is left over from earlier.
    [[nodiscard]] bool AddData(XAudioBufferNew& buffer, bool borrow);

    // The next `bytes`, or all there are when fewer remain or kAllBytes are asked for, as a view that lives
    // until the next AddData.
    XAudioBufferNew& GetDataFrom(int64_t bytes);

    int64_t BytesRemaining() const { return remaining_; }

    // Moves what remains to the front of owned memory, with room for `extraBytes` when it was borrowed.
    [[nodiscard]] bool InPlaceOptimizeBuffer(int64_t extraBytes);

    void Clear();

private:
    [[nodiscard]] bool Append(const uint8_t* data, int64_t bytes);
    [[nodiscard]] bool GrowTo(int64_t bytes);

    XMem owned_;
    uint8_t* data_ = nullptr;  // into owned_, or borrowed
    int64_t remaining_ = 0;
    int64_t offset_ = 0;
    bool borrowed_ = false;
    XAudioBufferNew view_;
};
