#include "Formats.h"
#include "audio/pipeline/XAudioChannelConv.h"

#include <numbers>
#include <sstream>

namespace w64 {

namespace {

using Row = std::vector<std::pair<int, double>>;

Row ActionsOf(int inCount, int outCount, int outChannel) {
    Row row;
    const auto table = XAudioChannelConv::GenerateActionTable(inCount, outCount);
    for (const auto& [channel, level] : table[size_t(outChannel - 1)]) row.emplace_back(channel, level);
    return row;
}

// "1*0.5 3*0.44, 2*1": the sum into each output, by channel and level.
std::string Actions(int inCount, int outCount) {
    std::ostringstream text;
    for (int channel = 1; channel <= outCount; ++channel) {
        text << (channel == 1 ? "" : ",");
        for (const auto& [from, level] : ActionsOf(inCount, outCount, channel))
            text << (text.str().empty() ? "" : " ") << from << "*" << level;
    }
    return text.str();
}

TEST(XAudioChannelConv, EveryPairOfLayouts) {
    const std::tuple<int, int, const char*> cases[] = {
        {1, 2, "1*1, 1*1"},
        {2, 1, "1*0.622254 2*0.622254"},
        {2, 6, "1*1, 2*1, 1*0.5 2*0.5, 1*0.5 2*0.5, 1*0.707107, 2*0.707107"},
        {4, 6, "1*1, 2*1, 1*0.44 2*0.44 3*0.44 4*0.44, 1*0.44 2*0.44 3*0.44 4*0.44, 3*1, 4*1"},
        {6, 2, "1*0.707107 3*0.44 4*0.44 5*-0.44, 2*0.707107 3*0.44 4*0.44 6*-0.44"},
        {8, 1, "1*0.622254 2*0.622254 3*0.44 4*0.44 5*-0.44 6*-0.44 7*-0.44 8*-0.44"},
        {8, 5,
         "1*0.707107 4*0.44 7*0.44, 2*0.707107 4*0.44 8*0.44, 3*1, 4*0.44 5*0.707107 7*0.44, 4*0.44 "
         "6*0.707107 8*0.44"},
        {7, 8, "1*1, 2*1, 3*1, 4*1, 5*1, 6*1, 7*1, 2*0.707107"},
    };
    for (const auto& [in, out, actions] : cases) EXPECT_EQ(Actions(in, out), actions) << in << " to " << out;
    uint32_t digest = 0;
    for (int in = 1; in <= 8; ++in) {
        for (int out = 1; out <= 8; ++out) {
            for (const char c : in == out ? "" : Actions(in, out))
                digest = digest * 31 + static_cast<uint8_t>(c);
        }
    }
    EXPECT_EQ(digest, 2320006943u) << "of all pairs";
    EXPECT_EQ(ActionsOf(2, 1, 1)[0].second, 0.44 * std::numbers::sqrt2);
    EXPECT_EQ(ActionsOf(6, 2, 1)[0].second, std::numbers::sqrt2 / 2);
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
