#pragma once

#include "audio/XAudioACMEncoder.h"
#include "audio/XAudioChannelConv.h"
#include "audio/XAudioFreqConv.h"

// A buffer that receives a stream's audio in any linear format, made from any other in stages: bit depth and
// kind, channels, sample rate, format tag.
// Use:    InitConversion once per stream, then ConvertData for every block with the same arguments. Without
//         InitConversion the first block prepares the stages; Destroy before another stream.
// Units:  blocks hold whole frames; what is left of one at the end is dropped where anything is converted.
// Owner:  the result is valid until the next call. In place it may lie in the input's memory, which the
//         conversion may overwrite; otherwise it never does. The input is not this buffer itself.
// Errors: false, without a message.
class XAudioConv : public XAudioBufferNew {
public:
    // The options text is that of XAudioRdWr and may be null. One stage alone gets it, and none for a source of
    // up to 8 bits: the rate stage where rates differ and the target is better than 48 kHz, 16 bits and stereo
    // or high quality is asked for; otherwise the first that has work, channels before bits. High quality also
    // removes the mirror images that a higher rate leaves room for.
    [[nodiscard]] bool InitConversion(const XAudioWFX& source, const XAudioWFX& target,
                                      const wchar_t* options, bool highQuality);

    // `last` ends the stream: the rate stage gives what it still holds.
    [[nodiscard]] bool ConvertData(XAudioBufferNew& input, const XAudioWFX& target, bool inPlace, bool last,
                                   const wchar_t* options, bool highQuality);

    // What the channel stage computes once for all conversions, ahead of its first use.
    static void LoadChanConvMatrix() { XAudioChannelConv::GenerateMatrix(); }

    void Destroy();

private:
    [[nodiscard]] bool PrepareRate(const XAudioWFX& format, const XAudioWFX& target, const wchar_t* options,
                                   bool highQuality);

    XAudioBitsConv bits_;
    XAudioChannelConv channels_;
    XAudioFreqConv rate_;
    XAudioACMEncoder encoder_;
    bool rateIsReady_ = false;
};
