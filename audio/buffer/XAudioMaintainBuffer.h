#pragma once

#include "audio/format/XAudioWFX.h"

namespace w64 {

// The most recent audio of a stream, up to a fixed duration.
// Units:  bytes; the size is a whole number of blocks.
class XAudioMaintainBuffer : public XAudioWFX {
public:
    // Takes the format and drops what was held. False when memory runs out.
    [[nodiscard]] bool Create(int64_t milliseconds, const tWAVEFORMATEX* format);

    // Appends, dropping the oldest bytes that do not fit.
    void AddData(const void* data, int64_t bytes);

    const uint8_t* BufferStart() const { return history_.Data(); }  // oldest first
    int64_t GetUsedByte() const { return held_; }

private:
    XMem history_;
    int64_t held_ = 0;
};

}  // namespace w64
