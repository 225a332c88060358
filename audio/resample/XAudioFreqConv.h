#pragma once

#include "audio/buffer/XAudioBufferNew.h"
#include "audio/buffer/XAudioDataStream.h"
#include "audio/resample/FreqConvBlocks.h"
#include "audio/resample/XAudioFreqConvDesign.h"
#include "audio/samples/XAudioRdWr.h"

#include <memory>

namespace w64 {

// A buffer that receives a stream's audio at another sample rate, in the same layout and channels. Output
// frame 0 is at the time of input frame 0, and a stream of n frames becomes ceil(n * target / source) frames.
// The output does not depend on how the stream is cut into blocks.
// Use:    CreateNewConverter once per stream, ConvertData for every block. After the last block the converter
//         is ready for another stream of the same format.
// Units:  rates in frames per second. Float samples that are NaN or beyond 1e30 count as 0, so that one bad
//         sample spoils no others.
// Owner:  at equal rates and in place the result borrows the input's memory; otherwise it is the converter's
//         own and valid until the next ConvertData. The input must not be in the converter's memory.
// Errors: false, without a message.
class XAudioFreqConv : public XAudioBufferNew {
public:
    XAudioFreqConv();
    XAudioFreqConv(const XAudioFreqConv&) = delete;
    XAudioFreqConv& operator=(const XAudioFreqConv&) = delete;
    ~XAudioFreqConv();

    // The options text is that of XAudioRdWr and may be null. Equal rates need no converter. Otherwise false
    // for a format without channels or a known sample layout, and for rates that cannot be converted: in
    // lowest terms, the lower rate must be 1 or a multiple of 2 or 3, and the filters have their limits.
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& format, int targetRate, const wchar_t* options,
                                          UpwardEdge edge = UpwardEdge::TargetHalf,
                                          const FreqConvLimits& limits = {});

    // Takes the unread part of the input, or all of it at equal rates. Blocks may be empty and may end within
    // a frame; an incomplete frame after the last block is dropped. Up to the maximum delay stays in the filters until
    // then, more of sources below 44,100 Hz. False without a converter, for input of another format, or without
    // memory. Nothing is consumed then, unless memory ran out during the conversion, which destroys the converter.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, bool inPlace, bool last);

    void Destroy();

private:
    static constexpr int64_t kNoRate = -1;

    bool IsOfStream(const XAudioWFX& format) const;
    int64_t OutputFrames(int64_t inputFrames) const;
    int64_t FramesFrom(int64_t blocks) const;
    bool FillBlock();
    void StartBlock();
    int64_t TakeBlock(int64_t frame);
    void Restart();

    XAudioWFX format_;
    int64_t targetRate_ = kNoRate;
    bool equalRates_ = false;
    std::unique_ptr<FreqConvBlocks> converter_;
    XAudioRdWr samples_;
    XAudioDataStream stream_;
    int64_t held_ = 0;      // frames of the next block
    int64_t produced_ = 0;  // frames
};

}  // namespace w64
