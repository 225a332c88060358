#include "Formats.h"
#include "audio/XAudioACMDecoder.h"
#include "audio/XAudioACMEncoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace {

TEST(XAudioACMDecoder, PassesLinearFormatsAndRefusesTheRest) {
    const XAudioWFX extensibleFloat = Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 2, 32);
    const std::tuple<XAudioWFX, bool, bool, XAudioWFX> cases[] = {
        {Format(kTagPCM, 2, 24), false, true, Format(kTagPCM, 2, 24)},
        {extensibleFloat, true, true, extensibleFloat},
        {extensibleFloat, false, true, Format(kTagPCM, 2, 32)},
        {Format(kTagFloat, 2, 64), false, true, Format(kTagPCM, 2, 64)},
        {Format(kTagADPCM, 2, 4), true, false, Format(kTagPCM, 2, 16)},
        {Format(kTagALaw, 2, 8), true, false, Format(kTagPCM, 2, 8)},
        {Extensible(KSDATAFORMAT_SUBTYPE_MULAW, 2, 8), true, false, Format(kTagPCM, 2, 8)},
        {Extensible(SubFormatOfTag(0x4242), 2, 16), true, false, Format(kTagPCM, 2, 16)},
    };
    for (const auto& [format, floatOK, accepted, out] : cases) {
        SCOPED_TRACE(format.WFXToString());
        Bytes bytes(64);
        XAudioBufferNew input(bytes.data(), 64, format, true);
        XAudioACMDecoder decoder;
        const bool passes = accepted && out.FormatTag() == format.FormatTag();
        EXPECT_EQ(decoder.ConvertData(input, true, false, floatOK), passes) << "not prepared";
        EXPECT_EQ(decoder.CreateNewConverter(format, floatOK), accepted);
        EXPECT_EQ(decoder.GetWFXOut().WFXToString(), out.WFXToString());
        for (const bool inPlace : {false, true}) {
            ASSERT_EQ(decoder.ConvertData(input, inPlace, false, floatOK), accepted);
            EXPECT_EQ(decoder.Buffer().BufferStart() == bytes.data(), inPlace && accepted);
            EXPECT_TRUE(!accepted || decoder.Buffer().BitsPerSample() == std::min(out.BitsPerSample(), 32));
        }
    }
}

TEST(XAudioACMEncoder, MakesFloatOfIntegersOnly) {
    const std::tuple<XAudioWFX, XAudioWFX, int64_t> cases[] = {
        {Format(kTagPCM, 1, 16), Format(kTagFloat, 1, 64), 8},
        {Format(kTagPCM, 1, 16), Format(kTagPCM, 1, 24), 4},  // depth is not this step's business
        {Format(kTagFloat, 1, 32), Format(kTagPCM, 1, 16), 0},
        {Format(kTagPCM, 1, 16), Format(kTagALaw, 1, 8), 0},
        {Format(kTagPCM, 1, 16), Format(kTagFloat, 1, 32, 48000), 0},
    };
    for (const auto& [in, out, bytesOut] : cases) {
        int16_t samples[2] = {};
        XAudioBufferNew input(samples, sizeof samples, in, true);
        XAudioACMEncoder encoder;
        EXPECT_EQ(encoder.ConvertData(input, out, true, true), bytesOut != 0) << out.WFXToString();
        EXPECT_EQ(encoder.Buffer().GetUsedByte(), bytesOut);
        EXPECT_EQ(encoder.Buffer().BufferStart() == input.BufferStart(), bytesOut == 4);
    }
}

}  // namespace
