#include "Formats.h"
#include "audio/XAudioConv.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <tuple>

namespace {

constexpr int64_t kFrames = 1000;

XAudioBufferNew Audio(const XAudioWFX& format) {
    XAudioBufferNew audio(kFrames, format, false);
    audio.SetUsedSample(kFrames);
    XAudioRdWr samples(audio, 0, nullptr);
    std::mt19937 random(9);
    for (int64_t i = 0; i < kFrames * format.Channels(); ++i) {
        samples.PutInt(i, static_cast<int32_t>(random()) / 2);
    }
    return audio;
}

Bytes Part(XAudioBufferNew audio, int64_t first, int64_t frames) {
    const uint8_t* begin = audio.BufferStart() + audio.SampleToBytes(first);
    return {begin, begin + audio.SampleToBytes(std::min(frames, kFrames - first))};
}

// The whole stream in blocks; nothing when a step fails.
Bytes Converted(XAudioConv& conv, const XAudioWFX& from, const XAudioWFX& to, const wchar_t* options,
                bool highQuality, bool inPlace, int64_t blockFrames) {
    if (!conv.InitConversion(from, to, options, highQuality)) return {};
    Bytes out;
    for (int64_t first = 0; first < kFrames; first += blockFrames) {
        Bytes memory = Part(Audio(from), first, blockFrames);
        const Bytes before = memory;
        XAudioBufferNew block(memory.data(), static_cast<int64_t>(memory.size()), from, true);
        if (!conv.ConvertData(block, to, inPlace, first + blockFrames >= kFrames, options, highQuality))
            return {};
        EXPECT_EQ(conv.WFXToString(), to.WFXToString());
        EXPECT_TRUE(inPlace || (memory == before && conv.BufferStart() != memory.data()));
        const Bytes used = Used(conv);
        out.insert(out.end(), used.begin(), used.end());
    }
    return out;
}

// The stages one by one, with the options to the one that is named.
Bytes ByStages(const XAudioWFX& from, const XAudioWFX& to, const wchar_t* options, bool highQuality,
               char stage) {
    const auto of = [&](char name) { return name == stage ? options : nullptr; };
    XAudioBufferNew audio = Audio(from);
    XAudioBitsConv bits;
    XAudioChannelConv channels;
    XAudioFreqConv rate;
    EXPECT_TRUE(bits.ConvertData(audio, to, false, of('b')));
    EXPECT_TRUE(channels.ConvertData(bits, to, false, of('c')));
    EXPECT_TRUE(rate.CreateNewConverter(channels.Buffer(), static_cast<int>(to.SamplesPerSec()), of('r'),
                                        highQuality ? UpwardEdge::SourceHalf : UpwardEdge::TargetHalf));
    EXPECT_TRUE(rate.ConvertData(channels.Buffer(), false, true));
    return Used(rate);
}

TEST(XAudioConv, RunsItsStagesAndGivesTheOptionsToOneOfThem) {
    const std::tuple<XAudioWFX, XAudioWFX, bool, char> cases[] = {
        {Format(1, 2, 24), Format(1, 2, 16), false, 'b'},
        {Format(1, 6, 24), Format(1, 2, 16), false, 'c'},
        {Format(1, 1, 24), Format(1, 2, 16, 48000), true, 'r'},
        {Format(1, 1, 16), Format(1, 2, 16, 48000), false, 'c'},
        {Format(1, 2, 16), Format(1, 2, 24, 96000), false, 'r'},
        {Format(1, 2, 24, 96000), Format(1, 2, 16, 48000), false, 'b'},
        {Format(1, 2, 8), Format(1, 1, 16), false, '-'},
        {Format(3, 2, 32), Format(1, 8, 24), true, 'c'},
        {Format(1, 2, 16), Format(3, 2, 32), false, 'b'},
    };
    XAudioConv conv;  // for one stream after the other
    for (const auto& [from, to, highQuality, stage] : cases) {
        SCOPED_TRACE(from.WFXToString() + L" to " + to.WFXToString());
        const Bytes expected = ByStages(from, to, L"noise=tpdf", highQuality, stage);
        ASSERT_FALSE(expected.empty());
        for (const bool inPlace : {false, true}) {
            for (const int64_t frames : {kFrames, int64_t{77}}) {
                EXPECT_TRUE(Converted(conv, from, to, L"noise=tpdf", highQuality, inPlace, frames) ==
                            expected)
                    << "in place: " << inPlace << ", blocks of " << frames;
            }
        }
    }
}

TEST(XAudioConv, CostsNoCopyWithNothingToDo) {
    XAudioBufferNew audio = Audio(Format(kTagPCM, 2, 16));
    XAudioConv conv;
    ASSERT_TRUE(conv.ConvertData(audio, Format(kTagPCM, 2, 16), true, true, L"dither=1", true));
    EXPECT_EQ(conv.BufferStart(), audio.BufferStart());
    ASSERT_TRUE(conv.ConvertData(audio, Format(kTagPCM, 2, 16), false, true, nullptr, false));
    EXPECT_NE(conv.BufferStart(), audio.BufferStart());
    EXPECT_EQ(Used(conv), Used(audio));
    ASSERT_TRUE(conv.ConvertData(audio, Format(kTagPCM, 2, 4), false, true, nullptr, false));
    EXPECT_NE(conv.BufferStart(), audio.BufferStart()) << "a depth that no stage makes";
}

TEST(XAudioConv, EmptyBlocksAddNothing) {
    const XAudioWFX from = Format(kTagPCM, 2, 24);
    for (const XAudioWFX& to :
         {from, Format(kTagPCM, 2, 16), Format(kTagPCM, 6, 16), Format(kTagFloat, 1, 32, 48000)}) {
        SCOPED_TRACE(to.WFXToString());
        XAudioConv conv;
        const Bytes expected = Converted(conv, from, to, nullptr, true, false, kFrames);
        XAudioBufferNew audio = Audio(from);
        XAudioBufferNew nothing(nullptr, 0, from, true);
        for (XAudioBufferNew* middle : {&audio, &nothing}) {
            ASSERT_TRUE(conv.InitConversion(from, to, nullptr, true));
            Bytes out;
            const auto convert = [&](XAudioBufferNew& block, bool last) {
                EXPECT_TRUE(conv.ConvertData(block, to, false, last, nullptr, true));
                const Bytes used = Used(conv);
                out.insert(out.end(), used.begin(), used.end());
            };
            convert(nothing, false);
            convert(*middle, false);
            convert(nothing, true);
            EXPECT_TRUE(out == (middle == &audio ? expected : Bytes()));
        }
    }
}

// Integers cannot hold them, and in a filter they would spread.
TEST(XAudioConv, KeepsWhatIsNoNumberOnlyInFloats) {
    const auto mono = [](std::initializer_list<float> values) {
        XAudioBufferNew audio(std::ssize(values), Format(kTagFloat, 1, 32), false);
        audio.SetUsedSample(std::ssize(values));
        XAudioRdWr samples(audio, 0, nullptr);
        int64_t i = 0;
        for (const float value : values) samples.PutDbl(i++, value);
        return audio;
    };
    const auto converted = [](XAudioBufferNew audio, const XAudioWFX& to) {
        XAudioConv conv;
        EXPECT_TRUE(conv.ConvertData(audio, to, false, true, nullptr, true));
        return Used(conv);
    };
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    const auto audio = mono({kNone, kInfinite, -kInfinite, 0.25F});
    const XAudioWFX rate = Format(kTagFloat, 1, 32, 48000);
    EXPECT_EQ(converted(audio, Format(kTagFloat, 1, 32)), Used(audio));
    EXPECT_EQ(converted(audio, Format(kTagPCM, 1, 8)), (Bytes{128, 255, 0, 160}));
    EXPECT_EQ(converted(audio, Format(kTagPCM, 2, 8)), (Bytes{128, 128, 255, 255, 0, 0, 160, 160}));
    EXPECT_EQ(converted(audio, rate), converted(mono({0, 0, 0, 0.25F}), rate));
}

TEST(XAudioConv, RefusesWhatAStageCannotDo) {
    const std::tuple<XAudioWFX, XAudioWFX> cases[] = {
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 9, 16)},
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 2, 20)},
        {Format(kTagPCM, 2, 16), Format(kTagALaw, 2, 8)},
        {Format(kTagALaw, 2, 8), Format(kTagPCM, 2, 8)},
        {Format(kTagPCM, 2, 32), Format(kTagFloat, 2, 16)},
        {Format(kTagPCM, 2, 24), Format(kTagFloat, 6, 64)},
        {Format(kTagPCM, 0, 16), Format(kTagPCM, 2, 16)},
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 0, 16)},
        {Format(kTagPCM, 9, 16), Format(kTagPCM, 2, 16)},
        {Format(kTagPCM, 0, 16), Format(kTagPCM, 0, 16, 48000)},
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 2, 16, 0)},
        {Format(kTagPCM, 2, 16, 0), Format(kTagPCM, 2, 16)},
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 2, 16, INT32_MAX)},
        {Format(kTagPCM, 2, 16, INT32_MAX), Format(kTagPCM, 2, 16)},
        {Format(kTagPCM, 2, 12), Format(kTagPCM, 2, 12, 48000)},
        {Format(kTagPCM, 2, 12), Format(kTagPCM, 1, 12)},
        {Format(kTagPCM, 2, 64), Format(kTagPCM, 2, 64, 48000)},
        {Format(kTagPCM, 2, 64), Format(kTagPCM, 1, 64)},
        {Format(kTagPCM, 2, 16), Format(kTagPCM, 2, 64)},
    };
    for (const auto& [from, to] : cases) {
        XAudioBufferNew audio(4, from, true);
        audio.SetUsedSample(4);
        EXPECT_FALSE(XAudioConv().ConvertData(audio, to, false, true, nullptr, false))
            << testing::PrintToString(from.WFXToString() + L" to " + to.WFXToString());
    }
}

}  // namespace
