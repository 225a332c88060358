#include "host/plot/PlotLayout.h"

#include <algorithm>
#include <cmath>

namespace w64 {

PlotLayout::PlotLayout(PictureSize size, size_t lanes) : size_(size), lanes_(lanes) {
    constexpr PictureSize kDefault;
    scale_ = std::max(1.0, std::min(1.0 * size.width / kDefault.width, 1.0 * size.height / kDefault.height));
    const int left = Pixels(84);
    const int width = size.width - left - Pixels(116);
    const int top = Pixels(56);
    const int gap = Pixels(18);
    const int height = size.height - top - gap - Pixels(58);

    const double share = lanes <= 2 ? 0.3 : 0.42;
    waveform_ = {left, top, width, static_cast<int>(height * share)};
    spectrogram_ = {left, waveform_.Bottom() + gap, width, height - waveform_.height};
}

PictureArea PlotLayout::Lane(size_t lane) const {
    const int gap = Pixels(6);
    const auto lanes = static_cast<int>(lanes_);
    const auto edge = [&](size_t i) { return static_cast<int>(i) * (waveform_.height + gap) / lanes; };
    return {waveform_.left, waveform_.top + edge(lane), waveform_.width, edge(lane + 1) - edge(lane) - gap};
}

PictureArea PlotLayout::ColourScale() const {
    return {spectrogram_.Right() + Pixels(20), spectrogram_.top, Pixels(18), spectrogram_.height};
}

int PlotLayout::Pixels(double pixels) const { return static_cast<int>(std::lround(Scaled(pixels))); }

}  // namespace w64
