#include "audio/FreqConvEngine.h"

#include <algorithm>
#include <cmath>

namespace {

// Two neighbouring channels of interleaved frames, or the last one twice.
void TakePair(const double* in, size_t channels, size_t left, size_t right, size_t frames, double* pair) {
    const auto finite = [](double value) { return std::isfinite(value) ? value : 0; };
    if (channels == 2) {
        std::transform(in, in + 2 * frames, pair, finite);
        return;
    }
    for (size_t frame = 0; frame < frames; ++frame, in += channels) {
        pair[2 * frame] = finite(in[left]);
        pair[2 * frame + 1] = finite(in[right]);
    }
}

}  // namespace

void FreqConvEngine::Restart() {
    blocks_ = 0;
    RestartPairs((channels_ + 1) / 2);
}

const double* FreqConvEngine::Process(const double* in) {
    const int64_t inFrames = Needed(blocks_ + 1) - Needed(blocks_);
    const int64_t outFrames = Produced(blocks_ + 1) - Produced(blocks_);
    ++blocks_;
    out_.resize(channels_ == 2 ? 0 : static_cast<size_t>(outFrames) * channels_);
    for (size_t pair = 0; 2 * pair < channels_; ++pair) {
        const size_t left = 2 * pair;
        const size_t right = std::min(left + 1, channels_ - 1);
        TakePair(in, channels_, left, right, static_cast<size_t>(inFrames), InputOf(pair, inFrames));
        const double* result = Convert(pair, outFrames);
        if (channels_ == 2) return result;
        for (size_t frame = 0; frame < static_cast<size_t>(outFrames); ++frame, result += 2) {
            out_[frame * channels_ + left] = result[0];
            out_[frame * channels_ + right] = result[1];
        }
    }
    return out_.data();
}
