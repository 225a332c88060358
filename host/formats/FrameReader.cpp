#include "host/formats/FrameReader.h"

#include <algorithm>
#include <cmath>

namespace w64 {

std::span<const double> FrameReader::Read() {
    ToDoubles(audio_.Read(), Format(), samples_);
    if (Format().WFXFormatTag() == kTagFloat) MakeFinite();
    return samples_;
}

void FrameReader::MakeFinite() {
    constexpr double kMaxLevel = 1e6;  // 120 dB
    for (double& sample : samples_) {
        const bool isNumber = std::isfinite(sample);
        nonFinite_ += isNumber ? 0 : 1;
        sample = isNumber ? std::clamp(sample, -kMaxLevel, kMaxLevel) : 0;
    }
}

}  // namespace w64
