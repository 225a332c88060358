#pragma once

#include "audio/XAudioRdWr.h"

#include <array>
#include <vector>

// Changes the channel count of linear audio between eight speaker layouts of 1 to 8 channels, by a matrix that
// follows from the layouts. Coefficients are as they are: nothing is normalised after the sum.
// Units:  positions are speakers, numbered 1 to kMaxChannels (see GetChannelMapping); channel indices are
//         1-based too, and 0 where a layout lacks a position.
// Owner:  Buffer() is the result. It borrows the input's memory when the channel count was right already and
//         the call was in place, and is then valid as long as the input. The input is never Buffer() itself.
class XAudioChannelConv {
public:
    static constexpr int kMaxChannels = 8;

    // What an output channel takes from an input channel.
    struct Action {
        int channel;
        double coefficient;
    };
    using Actions = std::vector<Action>;       // in the order of the input channels, none of them 0
    using ActionTable = std::vector<Actions>;  // one list per output channel

    // [input channel - 1][output channel - 1]
    using Matrix = std::array<std::array<double, kMaxChannels>, kMaxChannels>;
    // [input count - 1][output count - 1]; equal counts have none.
    using MatrixStore = std::array<std::array<Matrix, kMaxChannels>, kMaxChannels>;

    // "Left" and "5.1 Surround", for instance; empty for a number outside 1 to kMaxChannels.
    static const char* GetChannelMapping(int position);
    static const char* GetChannelDescript(int count);
    static bool ChannelHas(int count, int position);

    // The coefficient that the rules for single positions give, and the matrices of all pairs of layouts, in
    // which the sum into an output position has been attended to. They are computed once.
    static double GetMatrixVal(int inCount, int outCount, int inPosition, int outPosition);
    static const MatrixStore& GenerateMatrix();

    // Empty when a count is outside 1 to kMaxChannels.
    static ActionTable GenerateActionTable(int inCount, int outCount);

    // Whether the change is supported: none at all, or PCM or float between two of the layouts.
    [[nodiscard]] static bool Init(const XAudioWFX& input, int outChannels);

    // From the target only the channel count is taken. The options text is that of XAudioRdWr and may be null.
    // False for an unsupported change, samples without a layout, or no memory.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace,
                                   const wchar_t* options);
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, int outChannels, bool inPlace,
                                   const wchar_t* options);

    XAudioBufferNew& Buffer() { return buffer_; }

private:
    [[nodiscard]] bool SetUpResult(XAudioBufferNew& input, int outChannels);

    XAudioBufferNew buffer_;
    XAudioRdWr writer_;  // carries noise from one part of a stream to the next
};
