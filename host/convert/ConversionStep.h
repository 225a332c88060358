#pragma once

#include "audio/buffer/XAudioBufferNew.h"

#include <memory>

namespace w64 {

// A step of a conversion, from one format to another, block by block.
// Errors: std::bad_alloc.
class ConversionStep {
public:
    // With `dither`, noise is added when integer bits are lost. A change of the sample rate takes up to `threads`
    // threads.
    // Errors: Failure if there is no conversion between the formats.
    static std::unique_ptr<ConversionStep> Make(const XAudioWFX& source, const XAudioWFX& target, bool dither,
                                                int threads);

    explicit ConversionStep(const XAudioWFX& target) : target_(target) {}
    ConversionStep(const ConversionStep&) = delete;  // it holds the state of a stream
    ConversionStep& operator=(const ConversionStep&) = delete;
    virtual ~ConversionStep() = default;

    const XAudioWFX& Target() const { return target_; }

    // The result is valid until the next call.
    virtual XAudioBufferNew& Run(XAudioBufferNew& audio, bool last) = 0;

private:
    XAudioWFX target_;
};

}  // namespace w64
