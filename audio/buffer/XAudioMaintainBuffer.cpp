#include "audio/buffer/XAudioMaintainBuffer.h"

#include <algorithm>
#include <cstring>

namespace w64 {

bool XAudioMaintainBuffer::Create(int64_t milliseconds, const tWAVEFORMATEX* format) {
    Assign(format);
    held_ = 0;
    const int64_t size = CalcBufferSize(milliseconds);
    return size >= 0 && history_.Resize(static_cast<size_t>(size));
}

void XAudioMaintainBuffer::AddData(const void* data, int64_t bytes) {
    const auto size = static_cast<int64_t>(history_.Size());
    const int64_t added = std::min(bytes, size);
    if (!data || added <= 0) return;
    const int64_t dropped = std::max<int64_t>(held_ + added - size, 0);
    const int64_t kept = held_ - dropped;
    std::memmove(history_.Data(), history_.Data() + dropped, static_cast<size_t>(kept));
    const uint8_t* newest = static_cast<const uint8_t*>(data) + (bytes - added);
    std::memcpy(history_.Data() + kept, newest, static_cast<size_t>(added));
    held_ = kept + added;
}

}  // namespace w64
