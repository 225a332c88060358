#pragma once

#include "audio/buffer/XAudioBufferNew.h"

namespace w64 {

// A queue of audio: buffers go in, pieces of other sizes come out.
// Units:  bytes.
// Owner:  a borrowed buffer's memory belongs to the buffer and must outlive its use here. What GetDataFrom
//         returns must not be added again.
// Errors: false when memory runs out; the audio held is kept.
class XAudioDataStream : public XAudioWFX {
public:
    static constexpr int64_t kAllBytes = 0xFFFFFFFF;

    XAudioDataStream() = default;
    XAudioDataStream(const XAudioDataStream&) = delete;  // a borrowed block has one reader
    XAudioDataStream& operator=(const XAudioDataStream&) = delete;

    // Appends the unread part of the buffer and takes its format, unless that has 0 bits. With `borrow` the
    // memory is borrowed instead of copied, provided that the queue is empty.
    [[nodiscard]] bool AddData(XAudioBufferNew& buffer, bool borrow);

    // A view of the next `bytes`, or of all that remain if there are fewer or for kAllBytes. Valid until the
    // next AddData.
    XAudioBufferNew& GetDataFrom(int64_t bytes);

    int64_t BytesRemaining() const { return remaining_; }

    // Moves what remains to the start of owned memory, with room for `extraBytes` more if it was borrowed.
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

}  // namespace w64
