#include "audio/resample/FreqConvEngine.h"

#include <algorithm>

namespace w64 {

void FreqConvEngine::Restart() {
    blocks_ = 0;
    window_.assign(static_cast<size_t>(History(0)) * channels_, 0.0);
    RestartPairs((channels_ * hops_ + 1) / 2);
}

double* FreqConvEngine::Input() {
    const size_t history = static_cast<size_t>(History(blocks_)) * channels_;
    window_.resize(history + static_cast<size_t>(NewFrames()) * channels_);
    return window_.data() + history;
}

const double* FreqConvEngine::Process() {
    const auto windowFrames = static_cast<int64_t>(window_.size() / channels_);
    const int64_t outFrames = (Produced(blocks_ + 1) - Produced(blocks_)) / Hops();
    const int64_t inFrames = windowFrames - (Hops() - 1) * HopFrames();
    ++blocks_;
    const double* result = window_.data();
    if (channels_ == 2) {
        result = Convert(0, window_.data(), inFrames, outFrames);
    } else {
        pair_.resize(static_cast<size_t>(2 * inFrames));
        out_.resize(static_cast<size_t>(outFrames) * hops_ * channels_);
        for (size_t pair = 0; 2 * pair < channels_ * hops_; ++pair) {
            Gather(pair, inFrames);
            Scatter(pair, Convert(pair, pair_.data(), inFrames, outFrames), outFrames);
        }
        result = out_.data();
    }
    const auto kept = History(blocks_) * static_cast<int64_t>(channels_);
    window_.erase(window_.begin(), window_.end() - kept);
    return result;
}

// Numbers go through the channels of the first hop, then through those of the second.
void FreqConvEngine::Gather(size_t pair, int64_t frames) {
    const auto start = [this](size_t number) {
        number = std::min(number, channels_ * hops_ - 1);
        const size_t hop = number / channels_ * static_cast<size_t>(HopFrames());
        return window_.data() + hop * channels_ + number % channels_;
    };
    const double* left = start(2 * pair);
    const double* right = start(2 * pair + 1);
    double* to = pair_.data();
    const size_t stride = channels_;
    for (int64_t i = 0; i < frames; ++i, left += stride, right += stride) {
        *to++ = *left;
        *to++ = *right;
    }
}

void FreqConvEngine::Scatter(size_t pair, const double* result, int64_t frames) {
    const auto start = [&](size_t number) {
        number = std::min(number, channels_ * hops_ - 1);
        const size_t hop = number / channels_ * static_cast<size_t>(frames);
        return out_.data() + hop * channels_ + number % channels_;
    };
    if (frames == 0) return;
    double* left = start(2 * pair);
    double* right = start(2 * pair + 1);
    const size_t stride = channels_;
    for (int64_t i = 0; i < frames; ++i, left += stride, right += stride) {
        *left = *result++;
        *right = *result++;
    }
}

}  // namespace w64
