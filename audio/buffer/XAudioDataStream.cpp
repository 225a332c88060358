#include "audio/buffer/XAudioDataStream.h"

#include "base/Saturating.h"

#include <algorithm>
#include <cstring>

namespace w64 {

bool XAudioDataStream::AddData(XAudioBufferNew& buffer, bool borrow) {
    uint8_t* unread = buffer.BufferStart() + buffer.GetPosByte();
    const int64_t bytes = buffer.PosLeftByte();
    if (remaining_ == 0 && borrow) {
        data_ = unread;
        borrowed_ = true;
        offset_ = 0;
        remaining_ = bytes;
    } else if (!Append(unread, bytes)) {
        return false;
    }
    if (buffer.BitsPerSample() != 0) Assign(buffer);
    return true;
}

XAudioBufferNew& XAudioDataStream::GetDataFrom(int64_t bytes) {
    const int64_t taken = bytes == kAllBytes ? remaining_ : std::clamp<int64_t>(bytes, 0, remaining_);
    // Cannot fail: borrowing allocates nothing, nor does an empty block.
    static_cast<void>(view_.InitializeBuffer(data_ + offset_, taken, wfx(), false, true));
    offset_ += taken;
    remaining_ -= taken;
    return view_;
}

bool XAudioDataStream::InPlaceOptimizeBuffer(int64_t extraBytes) {
    if (borrowed_) {
        if (!GrowTo(SaturatingAdd(remaining_, std::max<int64_t>(extraBytes, 0)))) return false;
        std::copy_n(data_ + offset_, remaining_, owned_.Data());
        borrowed_ = false;
    } else if (offset_ > 0) {
        std::memmove(owned_.Data(), owned_.Data() + offset_, static_cast<size_t>(remaining_));
    }
    data_ = owned_.Data();
    offset_ = 0;
    return true;
}

void XAudioDataStream::Clear() {
    data_ = nullptr;
    remaining_ = offset_ = 0;
    borrowed_ = false;
}

bool XAudioDataStream::Append(const uint8_t* data, int64_t bytes) {
    const int64_t total = SaturatingAdd(remaining_, bytes);
    if (!InPlaceOptimizeBuffer(bytes) || !GrowTo(total)) return false;
    data_ = owned_.Data();
    std::copy_n(data, bytes, data_ + remaining_);
    remaining_ = total;
    return true;
}

// A tenth more than needed, so that a stream with varying remainders settles on one allocation.
bool XAudioDataStream::GrowTo(int64_t bytes) {
    if (static_cast<size_t>(bytes) <= owned_.Size()) return true;
    return owned_.Resize(static_cast<size_t>(SaturatingAdd(bytes, bytes / 10)));
}

}  // namespace w64
