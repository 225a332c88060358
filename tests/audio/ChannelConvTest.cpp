#include "Formats.h"
#include "audio/pipeline/XAudioChannelConv.h"

#include <gtest/gtest.h>

#include <cmath>

namespace w64 {

namespace {

using Row = std::vector<std::pair<int, double>>;

constexpr double kSqrtHalf = 0.7071067811865476;

Row ActionsOf(int inCount, int outCount, int outChannel) {
    Row row;
    const auto table = XAudioChannelConv::GenerateActionTable(inCount, outCount);
    for (const auto& [channel, level] : table[size_t(outChannel - 1)]) row.emplace_back(channel, level);
    return row;
}

// Layouts as letters in channel order: lower case for back, l and r in angle brackets for side.
const std::string kLayouts[] = {"", "C", "LR", "LRS", "LRlr", "LRClr", "LRCSlr", "LRCSlr<", "LRCSlr<>"};

// The sum into one output.
Row Expected(int inCount, int outCount, char out) {
    const std::string& inputs = kLayouts[inCount];
    const std::string& outputs = kLayouts[outCount];
    const auto lost = [&](char in) { return outputs.find(in) == std::string::npos; };
    const bool isNew = inputs.find(out) == std::string::npos;
    const double even = inCount > 2 ? 0.44 : 1.0 / inCount;
    const auto level = [&](char in) {
        const std::string surroundTo = in == 'l'   ? "L"
                                       : in == 'r' ? "R"
                                       : in == '<' ? "Ll"
                                       : in == '>' ? "Rr"
                                                   : "";
        if (in == 'S' && out == 'S') return 1.0;
        if (out == 'S' && !isNew) return 0.0;
        if (inCount < outCount) {
            if (in == out) return 1.0;
            if (isNew && (out == 'l' || out == '<')) return in == 'L' ? kSqrtHalf : 0.0;
            if (isNew && (out == 'r' || out == '>')) return in == 'R' ? kSqrtHalf : 0.0;
            return isNew || lost(in) ? even : 0.0;
        }
        if (outCount == 1)
            return in == 'C' ? even : in == 'S' ? 0.44 : surroundTo.empty() ? 0.44 * std::sqrt(2) : -0.44;
        if (out == 'C') return in == 'C' ? 1.0 : 0.0;
        if (in == out) return kSqrtHalf;
        if (!surroundTo.empty() && surroundTo.find(out) == std::string::npos) return 0.0;
        return !lost(in) ? 0.0 : surroundTo.empty() ? 0.44 : -0.44;
    };
    Row row;
    for (size_t i = 0; i < inputs.size(); ++i) {
        const double value = inCount == 1 ? 1.0 : level(inputs[i]);
        if (value != 0) row.emplace_back(int(i) + 1, value);
    }
    for (auto& [channel, value] : row) {
        if (row.size() <= 3) value = std::abs(value);
        if (row.size() >= 2 && value == 1.0) value = kSqrtHalf;
    }
    if (row.empty()) {
        for (int channel = 1; channel <= inCount; ++channel) row.emplace_back(channel, even);
    }
    return row;
}

TEST(XAudioChannelConv, EveryPairOfLayouts) {
    for (int in = 1; in <= 8; ++in) {
        for (int out = 1; out <= 8; ++out) {
            if (in == out) continue;
            for (int channel = 1; channel <= out; ++channel) {
                EXPECT_EQ(ActionsOf(in, out, channel), Expected(in, out, kLayouts[out][size_t(channel - 1)]))
                    << in << " to " << out << ", channel " << channel;
            }
        }
    }
}

TEST(XAudioChannelConv, WellKnownPairs) {
    EXPECT_EQ(ActionsOf(2, 1, 1), (Row{{1, 0.44 * 1.4142135623730951}, {2, 0.44 * 1.4142135623730951}}));
    EXPECT_EQ(ActionsOf(6, 2, 1), (Row{{1, kSqrtHalf}, {3, 0.44}, {4, 0.44}, {5, -0.44}}));
    EXPECT_EQ(ActionsOf(8, 6, 5), (Row{{5, kSqrtHalf}, {7, 0.44}}));
    EXPECT_EQ(ActionsOf(2, 6, 4), (Row{{1, 0.5}, {2, 0.5}}));
    EXPECT_STREQ(XAudioChannelConv::GetChannelMapping(4), "Sub-woofer");
    EXPECT_STREQ(XAudioChannelConv::GetChannelDescript(8), "7.1 Theater");
    for (const int none : {0, 9}) {
        EXPECT_STREQ(XAudioChannelConv::GetChannelMapping(none), "");
        EXPECT_STREQ(XAudioChannelConv::GetChannelDescript(none), "");
        EXPECT_TRUE(XAudioChannelConv::GenerateActionTable(none, 2).empty());
        EXPECT_FALSE(XAudioChannelConv::ChannelHas(none, 1));
    }
}

void ExpectMixes(const XAudioWFX& format, int outChannels, const wchar_t* options) {
    SCOPED_TRACE(format.WFXToString() + L" to " + Int2Str(outChannels));
    constexpr int64_t kFrames = 300;  // not a multiple of a block
    XAudioBufferNew source = Noise(kFrames, format);
    XAudioWFX target = format;
    target.SetChannels(outChannels, true);
    XAudioBufferNew expected(kFrames, target, true);
    expected.SetUsedSample(kFrames);
    const XAudioRdWr reader(source, 0, nullptr);
    XAudioRdWr writer(expected, 0, options);
    for (int64_t frame = 0; frame < kFrames; ++frame) {
        for (int channel = 0; channel < outChannels; ++channel) {
            double sum = -0.0;
            for (const auto& [from, level] : ActionsOf(format.Channels(), outChannels, channel + 1))
                sum += level * reader.GetDbl(frame * format.Channels() + from - 1);
            writer.PutDbl(frame * outChannels + channel, sum);
        }
    }
    XAudioChannelConv conv;
    ASSERT_TRUE(conv.ConvertData(source, target, false, options));
    EXPECT_EQ(conv.Buffer().WFXToString(), target.WFXToString());
    EXPECT_TRUE(Used(conv.Buffer()) == Used(expected));
}

TEST(XAudioChannelConv, MixesAsSingleSamplesDo) {
    for (const auto& [in, out] : {std::pair(1, 2), {2, 1}, {2, 6}, {6, 2}, {8, 1}, {8, 7}}) {
        for (const int bits : {8, 16, 24, 32}) {
            ExpectMixes(Format(kTagPCM, in, bits), out, nullptr);
            ExpectMixes(Format(kTagPCM, in, bits), out, L"dither=1;noise=tpdf");
        }
        for (const int bits : {32, 64}) ExpectMixes(Format(kTagFloat, in, bits), out, nullptr);
    }
}

}  // namespace

}  // namespace w64
