#pragma once

#include "audio/pipeline/XAudioChannelConv.h"
#include "audio/resample/XAudioFreqConv.h"
#include "audio/samples/XAudioACMEncoder.h"

namespace w64 {

// A buffer that receives a stream's audio in another linear format. The stages are bit depth and kind,
// channels, sample rate, format tag.
// Use:    InitConversion once per stream, then ConvertData with the same arguments for every block. Without
//         InitConversion the first block prepares the stages. Destroy before another stream.
// Units:  blocks hold whole frames; a conversion drops an incomplete frame at the end.
// Owner:  the result is valid until the next call. In place it may be in the input's memory, which the
//         conversion may overwrite; otherwise it never is. The input must not be this buffer itself.
// Errors: false, without a message.
class XAudioConv : public XAudioBufferNew {
public:
    // The options text is that of XAudioRdWr and may be null. One stage gets it: the rate stage if the rates
    // differ and the target exceeds 48 kHz, 16 bits or stereo or is float, or high quality is set; otherwise
    // the channel stage if the counts differ, or else the bits stage. For a source of up to 8 bits no stage
    // gets it. High quality also removes the images that a higher rate leaves room for
    // (UpwardEdge::SourceHalf).
    [[nodiscard]] bool InitConversion(const XAudioWFX& source, const XAudioWFX& target,
                                      const wchar_t* options, bool highQuality);

    // `last` ends the stream: the rate stage delivers what it still holds.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace, bool last,
                                   const wchar_t* options, bool highQuality);

    // Of the rate stage, before InitConversion.
    void SetLimits(const FreqConvLimits& limits) { limits_ = limits; }

    // Computes the channel stage's matrices, once for all conversions, ahead of their first use.
    static void LoadChanConvMatrix() { XAudioChannelConv::GenerateMatrix(); }

    void Destroy();

private:
    [[nodiscard]] bool PrepareRate(const XAudioWFX& format, const XAudioWFX& target, const wchar_t* options,
                                   bool highQuality);

    XAudioBitsConv bits_;
    XAudioChannelConv channels_;
    XAudioFreqConv rate_;
    XAudioACMEncoder encoder_;
    FreqConvLimits limits_;
    bool rateIsReady_ = false;
};

}  // namespace w64
