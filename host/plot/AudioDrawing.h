#pragma once

#include "host/plot/Canvas.h"
#include "host/plot/Envelope.h"
#include "host/plot/Spectrogram.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace w64 {

// Audio as it looks, without axes.

// The peaks of the samples, and inside them their root mean square. If each column is a single frame this is a line
// from sample to sample. `top` is the sample at the upper edge.
void DrawOutline(Canvas& canvas, PictureArea area, const Envelope& envelope, size_t lane, double top,
                 double lineWidth);

// The colours of an area that is as high as the spectrogram has rows. The level `floor`, in dB, is black. Fewer
// `shades` make a smaller file.
std::vector<uint32_t> SpectrogramPixels(PictureArea area, const Spectrogram& spectrogram, int64_t frames,
                                        double floor, int shades);

constexpr int kAllShades = 1024;

}  // namespace w64
