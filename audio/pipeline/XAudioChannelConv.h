#pragma once

#include "audio/samples/XAudioRdWr.h"

#include <array>
#include <vector>

namespace w64 {

// Converts linear audio between eight speaker layouts of 1 to 8 channels, by a matrix that follows from the
// layouts. Sums are not normalised.
// Units:  positions are speakers, numbered 1 to kMaxChannels (see GetChannelMapping); channel indices are
//         1-based too, and 0 where a layout lacks a position.
// Owner:  Buffer() is the result. If the channel counts are equal and the call is in place, it borrows the
//         input's memory and is valid as long as the input. The input must not be Buffer() itself.
class XAudioChannelConv {
public:
    static constexpr int kMaxChannels = 8;

    // One input channel of an output channel's sum.
    struct Action {
        int channel;
        double coefficient;
    };
    using Actions = std::vector<Action>;       // in the order of the input channels, no coefficient 0
    using ActionTable = std::vector<Actions>;  // one list per output channel

    // [input channel - 1][output channel - 1]
    using Matrix = std::array<std::array<double, kMaxChannels>, kMaxChannels>;
    // [input count - 1][output count - 1]; equal counts have none.
    using MatrixStore = std::array<std::array<Matrix, kMaxChannels>, kMaxChannels>;

    // "Left" and "5.1 Surround", for instance; empty for a number outside 1 to kMaxChannels.
    static const char* GetChannelMapping(int position);
    static const char* GetChannelDescript(int count);
    static bool ChannelHas(int count, int position);

    // GetMatrixVal is the coefficient by the rules for a single pair of positions. GenerateMatrix gives the
    // final matrices of all pairs of layouts, adjusted to the number of inputs of each output; they are
    // computed once.
    static double GetMatrixVal(int inCount, int outCount, int inPosition, int outPosition);
    static const MatrixStore& GenerateMatrix();

    // Empty when a count is outside 1 to kMaxChannels.
    static ActionTable GenerateActionTable(int inCount, int outCount);

    // Whether the conversion is supported: equal counts, or PCM or float between two of the layouts.
    [[nodiscard]] static bool Init(const XAudioWFX& input, int outChannels);

    // Only the channel count of the target is used. The options text is that of XAudioRdWr and may be null.
    // False for an unsupported conversion, an unknown sample layout, or when memory runs out.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace,
                                   const wchar_t* options);
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, int outChannels, bool inPlace,
                                   const wchar_t* options);

    XAudioBufferNew& Buffer() { return buffer_; }

private:
    [[nodiscard]] bool SetUpResult(XAudioBufferNew& input, int outChannels);

    XAudioBufferNew buffer_;
    XAudioRdWr writer_;  // continues the dither noise from block to block
};

}  // namespace w64
