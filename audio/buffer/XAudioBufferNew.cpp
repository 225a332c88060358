#include "audio/buffer/XAudioBufferNew.h"

#include "base/Saturating.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace w64 {

// Constructors have no result: callers check IsBufferValid().
XAudioBufferNew::XAudioBufferNew(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool inPlace) {
    static_cast<void>(InitializeBuffer(data, bytes, format, false, inPlace));
}

XAudioBufferNew::XAudioBufferNew(int64_t frames, const tWAVEFORMATEX* format, bool silence) {
    static_cast<void>(SetBufferSize(frames, format, silence, false));
}

XAudioBufferNew::XAudioBufferNew(bool inPlace, XAudioBufferNew& other) {
    static_cast<void>(InitializeBuffer(inPlace, other));
}

XAudioBufferNew::XAudioBufferNew(const XAudioBufferNew& other) : XAudioWFX(other) {
    if (!CopyIn(other.data_, other.used_)) throw std::bad_alloc();
}

XAudioBufferNew& XAudioBufferNew::operator=(const XAudioBufferNew& other) {
    if (this == &other) return *this;
    Assign(other);
    Empty();
    if (!CopyIn(other.data_, other.used_)) throw std::bad_alloc();
    return *this;
}

bool XAudioBufferNew::InitializeBuffer(void* data, int64_t bytes, const tWAVEFORMATEX* format, bool silence,
                                       bool inPlace) {
    Assign(format);
    Empty();
    if (!data) return SetBufferByteSizeNew(bytes, silence, false);
    if (bytes < 0) return false;
    if (!inPlace) return CopyIn(data, bytes);
    data_ = static_cast<uint8_t*>(data);
    capacity_ = used_ = bytes;
    borrowed_ = true;
    return true;
}

bool XAudioBufferNew::InitializeBuffer(bool inPlace, XAudioBufferNew& other) {
    if (&other != this) return InitializeBuffer(other.data_, other.used_, other, false, inPlace);
    position_ = 0;
    return inPlace || OwnBytes(used_, true);
}

bool XAudioBufferNew::SetBufferSize(int64_t frames, const tWAVEFORMATEX* format, bool silence, bool keep) {
    Assign(format);
    return SetBufferByteSizeNew(SampleToBytes(frames), silence, keep);
}

bool XAudioBufferNew::SetBufferByteSizeNew(int64_t bytes, bool silence, bool keep) {
    if (!OwnBytes(bytes, keep)) return false;
    used_ = keep ? std::min(used_, bytes) : 0;
    position_ = 0;
    if (silence) SilenceFrom(used_);
    return true;
}

bool XAudioBufferNew::CopyToBuffer(const void* src, int64_t frames, int64_t srcOffset, int64_t dstOffset) {
    const int64_t begin = SampleToBytes(dstOffset);
    const int64_t end = SampleToBytes(SaturatingAdd(dstOffset, frames));
    if (!src || srcOffset < 0 || begin < 0 || end <= begin || begin > capacity_) return true;
    if (end > capacity_ && !OwnBytes(end, true)) return false;
    std::memcpy(data_ + begin, static_cast<const uint8_t*>(src) + SampleToBytes(srcOffset),
                static_cast<size_t>(end - begin));
    used_ = std::max(used_, end);
    return true;
}

void XAudioBufferNew::CopyFromBuffer(void* dst, int64_t frames, int64_t dstOffset, int64_t srcOffset) const {
    const int64_t begin = SampleToBytes(srcOffset);
    const int64_t end = SampleToBytes(SaturatingAdd(srcOffset, frames));
    if (!dst || dstOffset < 0 || begin < 0 || end <= begin || end > capacity_) return;
    std::memcpy(static_cast<uint8_t*>(dst) + SampleToBytes(dstOffset), data_ + begin,
                static_cast<size_t>(end - begin));
}

void XAudioBufferNew::SetUsedByte(int64_t bytes) {
    used_ = std::clamp<int64_t>(bytes, 0, capacity_);
    position_ = std::min(position_, used_);
}

void XAudioBufferNew::SetPosByte(int64_t bytes) { position_ = std::clamp<int64_t>(bytes, 0, used_); }

// Keeps owned memory for the next use.
void XAudioBufferNew::Empty() {
    data_ = nullptr;
    capacity_ = used_ = position_ = 0;
    borrowed_ = false;
}

bool XAudioBufferNew::CopyIn(const void* data, int64_t bytes) {
    if (!owned_.Assign(data, static_cast<size_t>(bytes))) return false;
    data_ = owned_.Data();
    capacity_ = used_ = bytes;
    return true;
}

bool XAudioBufferNew::OwnBytes(int64_t bytes, bool keep) {
    if (bytes < 0 || !owned_.Resize(static_cast<size_t>(bytes))) return false;
    if (keep && borrowed_) std::copy_n(data_, std::min(capacity_, bytes), owned_.Data());
    data_ = owned_.Data();
    capacity_ = bytes;
    borrowed_ = false;
    return true;
}

void XAudioBufferNew::SilenceFrom(int64_t offset) {
    std::fill(data_ + offset, data_ + capacity_, BitsPerSample() == 8 ? uint8_t{0x80} : uint8_t{0});
}

}  // namespace w64
