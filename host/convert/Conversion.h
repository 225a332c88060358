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

// What audio is to become; the rest of its format stays as it is.
struct ConversionOptions {
    std::optional<unsigned> rate;  // frames per second
    std::optional<unsigned> channels;
    std::optional<unsigned> bits;  // of integers, unless isFloat
    bool isFloat = false;          // of 32 bits, unless there are others
    bool dither = false;           // where bits of integers get lost

    // Errors: UsageError for what makes no sense, whatever the audio is.
    void Check() const;

    bool operator==(const ConversionOptions&) const = default;
};

// Audio on its way from where it is read to where it is written, block by block. With nothing to convert it
// passes by untouched.
// Order:  Convert every block, then Finish.
// Errors: Failure, by the constructor for what cannot be converted; std::bad_alloc.
class Conversion {
public:
    // Takes interleaved frames, which are valid until it returns.
    using Write = std::function<void(std::span<const uint8_t>)>;

    // The source has channels and a rate.
    Conversion(const XAudioWFX& source, const ConversionOptions& options);

    const XAudioWFX& Target() const { return target_; }

    // What so many bytes of the source come to in the end.
    int64_t ExpectedBytes(int64_t sourceBytes) const;

    // Blocks may end anywhere in a frame; what is left of one at the end is dropped. Where the rate changes,
    // the audio comes out some tenths of a second late.
    void Convert(std::span<const uint8_t> block, const Write& write);

    // What is still on its way.
    void Finish(const Write& write);

private:
    void AddStep(const XAudioWFX& target, bool dither);
    std::span<const uint8_t> Run(int64_t bytes, bool last);

    XAudioWFX source_;
    XAudioWFX target_;
    int64_t pieceBytes_ = 0;   // whole frames of the source to convert at a time
    XAudioDataStream stream_;  // keeps the beginning of a frame until the rest comes
    std::vector<std::unique_ptr<ConversionStep>> steps_;
};

}  // namespace w64
