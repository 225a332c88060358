#pragma once

#include "audio/format/XAudioWFX.h"

#include <cstdint>
#include <md5.h>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// The MD5 of audio (RFC 1321) as FLAC keeps it in its header: of interleaved little-endian samples of whole bytes, those
// of 8 bits signed. Floats and 32-bit integers, which FLAC cannot hold, count as they are stored.
class AudioMD5 {
public:
    explicit AudioMD5(const XAudioWFX& format);

    // Interleaved frames in WAVE layout.
    void Add(std::span<const uint8_t> frames);

    std::string Digest();  // 32 hexadecimal digits; call once, at the end

    bool IsOfFLAC() const { return isOfFLAC_; }

private:
    MD5_CTX state_;
    bool isOfFLAC_;
    bool isUnsigned_;
    std::vector<uint8_t> signed_;
};

}  // namespace w64
