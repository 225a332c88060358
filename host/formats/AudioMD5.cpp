#include "host/formats/AudioMD5.h"

#include <algorithm>

namespace w64 {

AudioMD5::AudioMD5(const XAudioWFX& format)
    : isOfFLAC_(format.WFXFormatTag() == kTagPCM && format.BitsPerSample() <= 24),
      isUnsigned_(format.WFXFormatTag() == kTagPCM && format.BitsPerSample() == 8) {
    MD5Init(&state_);
}

void AudioMD5::Add(std::span<const uint8_t> frames) {
    if (isUnsigned_) {
        signed_.resize(frames.size());
        std::ranges::transform(frames, signed_.begin(),
                               [](uint8_t sample) { return static_cast<uint8_t>(sample ^ 0x80); });
        frames = signed_;
    }
    MD5Update(&state_, frames.data(), frames.size());
}

std::string AudioMD5::Digest() {
    char digits[MD5_DIGEST_STRING_LENGTH];
    return MD5End(&state_, digits);
}

}  // namespace w64
