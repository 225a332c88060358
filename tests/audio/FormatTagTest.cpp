#include "Formats.h"
#include "audio/XAudioACMDecoder.h"
#include "audio/XAudioACMEncoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

constexpr GUID kUnknownSubFormat = SubFormatOfTag(0x4242);

TEST(XAudioACMDecoder, PassesLinearFormatsAndRefusesTheRest) {
    const struct {
        XAudioWFX format;
        bool floatOK, accepted;
        int tagOut, bitsOut;
    } cases[] = {
        {Format(kTagPCM, 2, 24), false, true, kTagPCM, 24},
        {Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 24), true, true, kTagExtensible, 24},
        {Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 2, 32), true, true, kTagExtensible, 32},
        {Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 2, 32), false, true, kTagPCM, 32},
        {Format(kTagFloat, 2, 64), false, true, kTagPCM, 64},
        {Format(kTagADPCM, 2, 4), true, false, kTagPCM, 16},
        {Format(kTagALaw, 2, 8), true, false, kTagPCM, 8},
        {Format(kTagMPEG, 2, 0), true, false, kTagPCM, 16},
        {Extensible(KSDATAFORMAT_SUBTYPE_MULAW, 2, 8), true, false, kTagPCM, 8},
        {Extensible(kUnknownSubFormat, 2, 16), true, false, kTagPCM, 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format.WFXToString());
        XAudioACMDecoder decoder;
        EXPECT_EQ(decoder.CreateNewConverter(c.format, c.floatOK), c.accepted);
        const XAudioWFX& out = decoder.GetWFXOut();
        EXPECT_EQ(out.FormatTag(), c.tagOut);
        EXPECT_EQ(out.wfx()->cbSize, c.tagOut == kTagExtensible ? 22 : 0);
        EXPECT_EQ(out.BitsPerSample(), c.bitsOut);
        EXPECT_EQ(out.BlockAlign(), c.bitsOut / 4);
        EXPECT_EQ(out.AvgBytesPerSec(), 44100U * static_cast<unsigned>(out.BlockAlign()));
        std::vector<uint8_t> bytes(64);
        XAudioBufferNew input(bytes.data(), 64, c.format, true);
        EXPECT_EQ(decoder.ConvertData(input, true, false, c.floatOK), c.accepted);
    }
}

TEST(XAudioACMDecoder, PassThroughNeitherCopiesNorAllocates) {
    std::vector<uint8_t> bytes(64, 1);
    XAudioBufferNew input(bytes.data(), 64, Extensible(KSDATAFORMAT_SUBTYPE_PCM, 2, 16), true);
    XAudioACMDecoder decoder;
    ASSERT_TRUE(decoder.ConvertData(input, true, false, true));
    const tWAVEFORMATEX* record = decoder.Buffer().wfx();
    input.SetUsedByte(32);
    ASSERT_TRUE(decoder.ConvertData(input, true, true, true));
    EXPECT_EQ(decoder.Buffer().wfx(), record);
    EXPECT_EQ(decoder.Buffer().BufferStart(), bytes.data());
    EXPECT_EQ(decoder.Buffer().GetUsedByte(), 32);
    ASSERT_TRUE(decoder.ConvertData(input, false, true, true));
    EXPECT_NE(decoder.Buffer().BufferStart(), bytes.data());
}

TEST(XAudioACMDecoder, FloatBecomes32BitPCMWhenPreparedForIt) {
    const int32_t expected[] = {INT32_MAX, INT32_MIN, 1073741824};
    float floats[] = {1.0F, -1.0F, 0.5F};
    double doubles[] = {1.0, -1.0, 0.5};
    XAudioBufferNew inputs[] = {{floats, sizeof floats, Format(kTagFloat, 1, 32), true},
                                {doubles, sizeof doubles, Format(kTagFloat, 1, 64), true}};
    for (XAudioBufferNew& input : inputs) {
        for (const bool inPlace : {false, true}) {  // in place last: it overwrites the input
            XAudioACMDecoder decoder;
            EXPECT_FALSE(decoder.ConvertData(input, inPlace, false, false)) << "not prepared";
            ASSERT_TRUE(decoder.CreateNewConverter(input, false));
            ASSERT_TRUE(decoder.ConvertData(input, inPlace, false, false));
            XAudioBufferNew& block = decoder.Buffer();
            EXPECT_EQ(block.WFXFormatTag(), kTagPCM);
            ASSERT_EQ(block.GetUsedByte(), 12);
            EXPECT_EQ(std::memcmp(block.BufferStart(), expected, 12), 0);
            EXPECT_EQ(block.BufferStart() == input.BufferStart(), inPlace);
            decoder.Destroy();
            EXPECT_FALSE(decoder.ConvertData(input, inPlace, false, false)) << "no longer prepared";
        }
    }
}

TEST(XAudioACMEncoder, MakesFloatOfIntegersOnly) {
    const struct {
        XAudioWFX in, out;
        bool accepted;
    } cases[] = {
        {Format(kTagPCM, 1, 16), Format(kTagFloat, 1, 64), true},
        {Format(kTagPCM, 1, 16), Format(kTagPCM, 1, 24), true},  // depth is not this step's business
        {Format(kTagFloat, 1, 32), Format(kTagPCM, 1, 16), false},
        {Format(kTagPCM, 1, 16), Format(kTagALaw, 1, 8), false},
        {Format(kTagPCM, 1, 16), Format(kTagPCM, 1, 16, 48000), false},
        {Format(kTagPCM, 1, 16), Format(kTagFloat, 1, 32, 48000), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.out.WFXToString());
        int16_t samples[] = {-32768, 16384};
        XAudioBufferNew input(samples, sizeof samples, c.in, true);
        XAudioACMEncoder encoder;
        EXPECT_EQ(encoder.CreateNewConverter(c.in, c.out), c.accepted);
        ASSERT_EQ(encoder.ConvertData(input, c.out, true, true), c.accepted);
        if (!c.accepted) continue;
        XAudioBufferNew& block = encoder.Buffer();
        const bool passed = c.out.WFXFormatTag() == kTagPCM;
        const float floats[] = {-1.0F, 0.5F};
        ASSERT_EQ(block.GetUsedByte(), passed ? 4 : 8);
        EXPECT_EQ(block.BufferStart() == input.BufferStart(), passed);
        const void* expected = passed ? static_cast<const void*>(samples) : floats;
        EXPECT_EQ(std::memcmp(block.BufferStart(), expected, passed ? 4 : 8), 0);
    }
}

}  // namespace
