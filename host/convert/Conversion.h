#pragma once

#include "audio/buffer/XAudioDataStream.h"
#include "host/convert/ConversionStep.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace w64 {

// The requested format of audio; anything unset stays as it is.
struct ConversionOptions {
    std::optional<unsigned> rate;  // frames per second
    std::optional<unsigned> channels;
    std::optional<unsigned> bits;  // of integers, unless isFloat
    bool isFloat = false;          // 32-bit unless `bits` is set
    bool dither = false;           // when integer bits are lost

    // Errors: UsageError for options that make no sense for any audio.
    void Check() const;

    bool operator==(const ConversionOptions&) const = default;
};

// Converts audio block by block between reading and writing. With nothing to convert, it passes blocks through.
// Order:  Convert every block, then Finish.
// Errors: Failure from the constructor if the audio cannot be converted; std::bad_alloc.
class Conversion {
public:
    // Receives interleaved frames, which are valid until it returns.
    using Write = std::function<void(std::span<const uint8_t>)>;

    // The source has channels and a rate. A new sample rate takes up to `threads` threads, with the same result.
    Conversion(const XAudioWFX& source, const ConversionOptions& options, unsigned threads = 1);

    const XAudioWFX& Target() const { return target_; }

    // The bytes that `sourceBytes` of the source become in all.
    int64_t ExpectedBytes(int64_t sourceBytes) const;

    // Blocks may end anywhere in a frame; an incomplete frame at the end of the audio is dropped. A new sample rate
    // delays the output by some tenths of a second for each thread.
    void Convert(std::span<const uint8_t> block, const Write& write);

    // Writes the delayed rest.
    void Finish(const Write& write);

private:
    void AddStep(const XAudioWFX& target, bool dither);
    std::span<const uint8_t> Run(int64_t bytes, bool last);

    XAudioWFX source_;
    XAudioWFX target_;
    int threads_;
    int64_t pieceBytes_ = 0;   // whole source frames to convert at a time
    XAudioDataStream stream_;  // keeps an incomplete frame until the rest comes
    std::vector<std::unique_ptr<ConversionStep>> steps_;
};

}  // namespace w64
