#pragma once

#include <filesystem>

namespace w64 {

// This resampler and its peers from 96 to 44.1 kHz: passband.png, stopband.png and impulse.png.
void DrawPictures(const std::filesystem::path& folder);

// A sweep over the whole band of 96 kHz, converted to 44.1 kHz by each of them: sweep-*.w64, mono in doubles.
void WriteSweeps(const std::filesystem::path& folder);

}  // namespace w64
