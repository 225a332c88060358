#include "audio/resample/FreqConvEngine.h"

#include <algorithm>

namespace w64 {

void FreqConvEngine::Restart() {
    blocks_ = 0;
    input_ = nullptr;
    RestartPairs((channels_ + 1) / 2);
}

double* FreqConvEngine::Input() {
    if (input_) return input_;
    if (channels_ == 2) return input_ = InputOf(0, InputFrames());
    in_.resize(static_cast<size_t>(InputFrames()) * channels_);
    return input_ = in_.data();
}

const double* FreqConvEngine::Process() {
    const int64_t inFrames = InputFrames();
    const int64_t outFrames = Produced(blocks_ + 1) - Produced(blocks_);
    ++blocks_;
    input_ = nullptr;
    if (channels_ == 2) return Convert(0, outFrames);

    out_.resize(static_cast<size_t>(outFrames) * channels_);
    for (size_t left = 0; left < channels_; left += 2) {
        const size_t right = std::min(left + 1, channels_ - 1);
        double* pair = InputOf(left / 2, inFrames);
        for (const double* frame = in_.data(); frame != in_.data() + in_.size(); frame += channels_) {
            *pair++ = frame[left];
            *pair++ = frame[right];
        }
        const double* result = Convert(left / 2, outFrames);
        for (double* frame = out_.data(); frame != out_.data() + out_.size(); frame += channels_) {
            frame[left] = *result++;
            frame[right] = *result++;
        }
    }
    return out_.data();
}

}  // namespace w64
