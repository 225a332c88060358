#include "host/plot/Thumbnail.h"

#include "host/plot/AudioDrawing.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr double kBlackLevel = -120;  // dB
constexpr int kShades = 24;           // few enough for a small file, enough for a small picture

}  // namespace

Thumbnail::Thumbnail(int channels, int64_t expectedFrames)
    : envelope_(channels, true, kWidth),
      spectrogram_({channels, kSpectrogramHeight, kWidth, kBlackLevel, expectedFrames}) {}

void Thumbnail::Add(std::span<const double> frames) {
    envelope_.Add(frames);
    spectrogram_.Add(frames);
}

std::vector<uint8_t> Thumbnail::Draw() {
    if (envelope_.Frames() == 0) return {};
    spectrogram_.Finish();
    Canvas canvas({kWidth, kHeight});
    DrawOutline(canvas, {0, 0, kWidth, kWaveformHeight}, envelope_, 0, std::max(envelope_.Peak(), 1.0), 1);
    const PictureArea below = {0, kWaveformHeight, kWidth, kSpectrogramHeight};
    canvas.PaintPixels(below,
                       SpectrogramPixels(below, spectrogram_, envelope_.Frames(), kBlackLevel, kShades));
    return canvas.PNG();
}

}  // namespace w64
