#pragma once

#include "audio/FreqConvEngine.h"
#include "audio/XAudioBufferNew.h"
#include "audio/XAudioDataStream.h"
#include "audio/XAudioFreqConvDesign.h"
#include "audio/XAudioRdWr.h"

#include <memory>

// A buffer that receives the audio of a stream at another sample rate, of the same layout and channels.
// Input frame 0 lies exactly under output frame 0, and the stream's output has as many frames as fill its
// duration, the last one begun included. In what blocks the stream comes makes no difference to the output.
// Use:    CreateNewConverter once per stream, ConvertData for every block. After the last block the converter
//         is ready for another stream of the same format.
// Units:  rates in frames per second. Float samples that are no number or beyond 1e30 count as 0: one bad
//         sample spoils no others.
// Owner:  at equal rates and in place the result borrows the input's memory, otherwise it is the converter's
//         own, until the next ConvertData. The input's memory must not be the converter's.
// Errors: false, without a message.
class XAudioFreqConv : public XAudioBufferNew {
public:
    XAudioFreqConv();
    XAudioFreqConv(const XAudioFreqConv&) = delete;
    XAudioFreqConv& operator=(const XAudioFreqConv&) = delete;
    ~XAudioFreqConv();

    // The options text is that of XAudioRdWr and may be null. Equal rates need no converter. Otherwise false
    // for a format without channels or a known sample layout, and for rates that cannot be handled: by lowest
    // terms, the lower one's number has to be 1 or a multiple of 2 or 3, and filters have their limits.
    [[nodiscard]] bool CreateNewConverter(const XAudioWFX& format, int targetRate, const wchar_t* options,
                                          UpwardEdge edge = UpwardEdge::TargetHalf);

    // Takes the unread part of the input, or at equal rates all of it. Blocks may be empty, and end anywhere in
    // a frame; what is left of a frame after the last block is dropped. Until then up to 400 ms stay in the
    // filters, of sources below 44,100 Hz more.
    // False without a converter, for input of another format, or without memory. Nothing is then consumed,
    // unless memory ran out in the middle of it, which destroys the converter.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, bool inPlace, bool last);

    void Destroy();

private:
    static constexpr int64_t kNoRate = -1;

    bool IsOfStream(const XAudioWFX& format) const;
    int64_t OutputFrames(int64_t inputFrames) const;
    int64_t BlockFrames() const;
    bool FillBlock();
    int64_t ConvertBlock(int64_t frame);
    void Restart();

    XAudioWFX format_;
    int64_t targetRate_ = kNoRate;
    bool equalRates_ = false;
    std::unique_ptr<FreqConvEngine> engine_;
    XAudioRdWr samples_;
    XAudioDataStream stream_;
    int64_t blocks_ = 0;    // done
    int64_t held_ = 0;      // frames of the next block
    int64_t produced_ = 0;  // frames
};
