#include "Formats.h"
#include "audio/pipeline/XAudioConv.h"
#include "audio/samples/XAudioACMDecoder.h"

#include <cmath>
#include <tuple>

namespace w64 {

namespace {

constexpr int64_t kFrames = 1000;
constexpr wchar_t kOptions[] = L"noise=tpdf";

struct Conversion {
    XAudioWFX from;
    XAudioWFX to;
    bool highQuality;
    char stage;  // the one that gets the options
};

// Converts a stream in blocks of the given numbers of frames; returns nothing when a step fails.
Bytes Converted(XAudioConv& conv, const Conversion& c, bool inPlace, const std::vector<int64_t>& blocks) {
    if (!conv.InitConversion(c.from, c.to, kOptions, c.highQuality)) return {};
    Bytes audio = Used(Noise(kFrames, c.from));
    const Bytes before = audio;
    Bytes out;
    uint8_t* begin = audio.data();
    for (const int64_t& frames : blocks) {
        XAudioBufferNew block(begin, c.from.SamplesToBytes_DivChan(frames), c.from, true);
        begin += block.GetUsedByte();
        const bool last = &frames == &blocks.back();
        if (!conv.ConvertData(block, c.to, inPlace, last, kOptions, c.highQuality)) return {};
        EXPECT_EQ(conv.WFXToString(), c.to.WFXToString());
        EXPECT_TRUE(inPlace || frames == 0 || conv.BufferStart() != block.BufferStart());
        const Bytes used = Used(conv);
        out.insert(out.end(), used.begin(), used.end());
    }
    EXPECT_TRUE(inPlace || audio == before);
    return out;
}

Bytes ByStages(const Conversion& c) {
    const auto optionsOf = [&](char stage) { return stage == c.stage ? kOptions : nullptr; };
    XAudioBufferNew audio = Noise(kFrames, c.from);
    XAudioBitsConv bits;
    XAudioChannelConv channels;
    XAudioFreqConv rate;
    EXPECT_TRUE(bits.ConvertData(audio, c.to, false, optionsOf('b')));
    EXPECT_TRUE(channels.ConvertData(bits, c.to, false, optionsOf('c')));
    const auto targetRate = static_cast<int>(c.to.SamplesPerSec());
    EXPECT_TRUE(rate.CreateNewConverter(channels.Buffer(), targetRate, optionsOf('r'),
                                        c.highQuality ? UpwardEdge::SourceHalf : UpwardEdge::TargetHalf));
    EXPECT_TRUE(rate.ConvertData(channels.Buffer(), false, true));
    return Used(rate);
}

TEST(XAudioConv, RunsItsStagesAndGivesTheOptionsToOneOfThem) {
    const Conversion cases[] = {
        {Format(1, 2, 24), Format(1, 2, 16), false, 'b'},
        {Format(1, 6, 24), Format(1, 2, 16), false, 'c'},
        {Format(1, 1, 24), Format(1, 2, 16, 48000), true, 'r'},
        {Format(1, 1, 16), Format(1, 2, 16, 48000), false, 'c'},
        {Format(1, 2, 16), Format(1, 2, 24, 96000), false, 'r'},
        {Format(1, 2, 24, 96000), Format(1, 2, 16, 48000), false, 'b'},
        {Format(1, 2, 8), Format(1, 1, 16), false, '-'},
        {Format(3, 2, 32), Format(1, 8, 24), true, 'c'},
        {Format(1, 2, 16), Format(3, 2, 32), false, 'b'},
        {Format(1, 9, 24), Format(1, 9, 16), false, 'b'},
    };
    XAudioConv conv;  // for one stream after the other
    for (const Conversion& c : cases) {
        SCOPED_TRACE(c.from.WFXToString() + L" to " + c.to.WFXToString());
        const Bytes expected = ByStages(c);
        ASSERT_FALSE(expected.empty());
        for (const bool inPlace : {false, true}) {
            EXPECT_TRUE(Converted(conv, c, inPlace, {kFrames}) == expected) << inPlace;
            EXPECT_TRUE(Converted(conv, c, inPlace, {0, 77, 77, 0, 246, 600}) == expected) << inPlace;
            EXPECT_TRUE(Converted(conv, c, inPlace, {kFrames, 0}) == expected) << inPlace;
            EXPECT_TRUE(Converted(conv, c, inPlace, {0, 0}).empty()) << inPlace;
        }
    }
}

// Integers cannot hold them, and a filter would spread them. Floats are not clipped either.
TEST(XAudioConv, KeepsWhatIsNoNumberOnlyInFloats) {
    using Floats = std::vector<float>;
    const auto converted = [](Floats values, const XAudioWFX& to) {
        XAudioBufferNew audio(values.data(), 4 * std::ssize(values), Format(kTagFloat, 1, 32), true);
        XAudioConv conv;
        EXPECT_TRUE(conv.ConvertData(audio, to, false, true, nullptr, true));
        return Used(conv);
    };
    const Floats values = {NAN, INFINITY, -INFINITY, 0.25F, -3, -0.0F};
    const Floats twice = {NAN,   NAN,   INFINITY, INFINITY, -INFINITY, -INFINITY,
                          0.25F, 0.25F, -3,       -3,       -0.0F,     -0.0F};
    const XAudioWFX rate = Format(kTagFloat, 1, 32, 48000);
    EXPECT_EQ(converted(values, Format(kTagFloat, 2, 32)), converted(twice, Format(kTagFloat, 1, 32)));
    EXPECT_EQ(converted(values, Format(kTagPCM, 1, 8)), (Bytes{128, 255, 0, 160, 0, 128}));
    EXPECT_EQ(converted(values, Format(kTagPCM, 2, 8)), converted(twice, Format(kTagPCM, 1, 8)));
    EXPECT_EQ(converted(values, rate), converted({0, 0, 0, 0.25F, -3, 0}, rate));
    EXPECT_EQ(converted({0.5F, 3e38F, -3e38F, 1}, rate), converted({0.5F, 0, 0, 1}, rate));
}

TEST(XAudioConv, RefusesWhatAStageCannotDo) {
    const std::pair<XAudioWFX, XAudioWFX> cases[] = {
        {Format(1, 2, 20), Format(3, 2, 20)},        {Format(1, 2, 16), Format(3, 2, 16)},
        {Format(1, 2, 16), Format(1, 2, 20)},        {Format(1, 2, 32), Format(3, 2, 24)},
        {Format(3, 2, 24), Format(3, 2, 32)},        {Format(3, 2, 32), Format(1, 2, 64)},
        {Format(1, 2, 24), Format(3, 6, 64)},        {Format(6, 2, 8), Format(6, 2, 16)},
        {Format(6, 2, 8), Format(1, 2, 8)},          {Format(1, 2, 16), Format(6, 2, 8)},
        {Format(1, 2, 16), Format(1, 9, 16)},        {Format(1, 9, 16), Format(1, 2, 16)},
        {Format(1, 2, 16), Format(1, 0, 16)},        {Format(1, 0, 16), Format(1, 2, 16)},
        {Format(6, 1, 8), Format(6, 2, 8)},          {Format(1, 2, 12), Format(1, 1, 12)},
        {Format(1, 2, 64), Format(1, 1, 64)},        {Format(3, 2, 16), Format(3, 1, 16)},
        {Format(1, 2, 16, 0), Format(1, 2, 16)},     {Format(1, 2, 16), Format(1, 2, 16, INT32_MAX)},
        {Format(1, 2, 64), Format(1, 2, 64, 48000)}, {Format(1, 0, 16), Format(1, 0, 16, 48000)},
    };
    for (const auto& [from, to] : cases) {
        SCOPED_TRACE(from.WFXToString() + L" to " + to.WFXToString());
        XAudioBufferNew audio(4, from, true);
        audio.SetUsedSample(4);
        XAudioConv conv;
        EXPECT_FALSE(conv.ConvertData(audio, to, false, true, nullptr, false));
        EXPECT_FALSE(conv.InitConversion(from, to, nullptr, false) &&
                     conv.ConvertData(audio, to, false, true, nullptr, false));
    }
}

TEST(XAudioACMDecoder, PassesLinearFormatsAndRefusesTheRest) {
    const XAudioWFX extensibleFloat = Extensible(KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 2, 32);
    const std::tuple<XAudioWFX, bool, bool, XAudioWFX> cases[] = {
        {Format(kTagPCM, 2, 24), false, true, Format(kTagPCM, 2, 24)},
        {extensibleFloat, true, true, extensibleFloat},
        {extensibleFloat, false, true, Format(kTagPCM, 2, 32)},
        {Format(kTagFloat, 2, 64), false, true, Format(kTagPCM, 2, 64)},
        {Format(kTagADPCM, 2, 4), true, false, Format(kTagPCM, 2, 16)},
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
        decoder.Destroy();
        EXPECT_EQ(decoder.ConvertData(input, true, false, floatOK), passes) << "as one not prepared";
    }
}

TEST(XAudioACMEncoder, MakesFloatOfIntegersOnly) {
    for (const auto& [out, bytes] : {std::pair(Format(kTagFloat, 1, 64), 8),
                                     {Format(kTagPCM, 1, 24), 4},  // this stage does not change the depth
                                     {Format(kTagFloat, 1, 32, 48000), 0}}) {
        int16_t samples[2] = {};
        XAudioBufferNew input(samples, sizeof samples, Format(kTagPCM, 1, 16), true);
        XAudioACMEncoder encoder;
        EXPECT_EQ(encoder.ConvertData(input, out, true, true), bytes != 0) << out.WFXToString();
        EXPECT_EQ(encoder.Buffer().GetUsedByte(), bytes);
    }
}

}  // namespace

}  // namespace w64
