#include "HostWorkshop.h"
#include "host/formats/SampleKind.h"
#include "host/measure/AudioMeter.h"
#include "host/measure/Loudness.h"

#include <cmath>
#include <numbers>

namespace w64 {

namespace {

using Stats = HostTest;

constexpr double kRate = 48000;

double Amplitude(double decibels) { return std::pow(10, decibels / 20); }
double Decibels(double amplitude) { return 20 * std::log10(amplitude); }

XAudioWFX FloatFormat(int channels, uint32_t channelMask = 0) {
    const auto format = MakeWaveFormat({kTagFloat, 32}, static_cast<unsigned>(channels), 48000, channelMask);
    XAudioWFX record;
    record.Assign(&format.Format);
    return record;
}

// A sine of 1 kHz, in each channel at its level in dBFS.
struct Passage {
    double seconds;
    std::vector<double> levels;
};

LoudnessMeasures LoudnessOf(const std::vector<Passage>& passages, uint32_t channelMask = 0) {
    AudioMeter meter(FloatFormat(static_cast<int>(passages[0].levels.size()), channelMask));
    for (const auto& [seconds, levels] : passages) {
        std::vector<double> frames;  // 100 ms
        for (int i = 0; i < kRate / 10; ++i) {
            const double sine = std::sin(2 * std::numbers::pi * 1000 * i / kRate);
            for (const double level : levels) frames.push_back(Amplitude(level) * sine);
        }
        for (int i = 0; i < std::lround(10 * seconds); ++i) meter.Add(frames);
    }
    return *meter.Measures().loudness;
}

}  // namespace

// The test signals of EBU Tech 3341 and 3342, and their tolerances.
TEST(Loudness, IsThatOfTheTestSignals) {
    const struct {
        std::vector<Passage> passages;
        double integrated;
        std::optional<double> range;
    } cases[] = {
        {{{20, {-23, -23}}}, -23, {}},
        {{{20, {-33, -33}}}, -33, {}},
        {{{10, {-36, -36}}, {60, {-23, -23}}, {10, {-36, -36}}}, -23, {}},
        {{{10, {-72, -72}}, {10, {-36, -36}}, {60, {-23, -23}}, {10, {-36, -36}}, {10, {-72, -72}}}, -23, {}},
        {{{20, {-26, -26}}, {20.1, {-20, -20}}, {20, {-26, -26}}}, -23, {}},
        {{{20, {-28, -28, -24, -100, -30, -30}}}, -23, {}},
        {{{20, {-20, -20}}, {20, {-30, -30}}}, -22.6, 10},
        {{{20, {-20, -20}}, {20, {-15, -15}}}, -16.8, 5},
        {{{20, {-40, -40}}, {20, {-20, -20}}}, -20, 20},
        {{{20, {-50, -50}}, {20, {-35, -35}}, {20, {-20, -20}}, {20, {-35, -35}}, {20, {-50, -50}}},
         -24.5,
         15},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << &c - cases);
        const LoudnessMeasures measures = LoudnessOf(c.passages);
        EXPECT_NEAR(measures.integrated, c.integrated, 0.1);
        EXPECT_NEAR(*measures.range, c.range.value_or(*measures.range), 1);
    }
}

TEST(Loudness, MissesNoBurst) {
    std::vector<double> powers(40, 1e-3);
    for (size_t begin = 0; begin + 4 <= powers.size(); begin += 3) {
        std::vector<double> withBurst = powers;
        std::fill_n(withBurst.begin() + static_cast<ptrdiff_t>(begin), 4, 1.0);
        EXPECT_NEAR(MeasureLoudness(withBurst).momentaryMax, -0.691, 1e-9) << begin;
    }
}

TEST(Loudness, FollowsTheSpeakers) {
    using enum SpeakerWeight;
    const struct {
        uint32_t mask;
        std::vector<SpeakerWeight> weights;
    } cases[] = {
        {0, {Front, Front, Front, None, Surround, Surround}},
        {0x60F, {Front, Front, Front, None, Surround, Surround}},
        {0x63F, {Front, Front, Front, None, Front, Front, Surround, Surround}},
        {0x3, {Front, Front, Front}},  // one unnamed
        {0xF, {Front, Front}},         // some without a channel
        {0, std::vector<SpeakerWeight>(9, Front)},
    };
    for (const auto& [mask, weights] : cases)
        EXPECT_EQ(SpeakerWeights(mask, static_cast<int>(weights.size())), weights) << mask;
    const Passage onlyLow = {1, {-100, -100, -100, -20}};
    EXPECT_EQ(LoudnessOf({onlyLow}, 0xF).integrated, -HUGE_VAL);
    EXPECT_NEAR(LoudnessOf({onlyLow}, 0x33).integrated, -21.5, 0.1);
}

// Sines whose samples miss the crest, and clicks at block boundaries of every kind.
TEST(TruePeak, IsThatOfTheWaveform) {
    for (const double share : {1 / 4.0, 1 / 6.0, 1 / 8.0, 0.41}) {
        for (const double phase : {0.0, 45.0, 60.0, 67.5}) {
            std::vector<double> samples;
            for (int i = 0; i < 4801; ++i) {
                const double fade = std::min(1.0, std::min(i, 4800 - i) / 500.0);
                const double angle = 2 * std::numbers::pi * (share * i + phase / 360);
                samples.push_back(0.5 * fade * std::sin(angle));
            }
            TruePeak whole;
            whole.Add(samples);
            EXPECT_NEAR(Decibels(whole.Peak()), -6.02, share < 0.4 ? 0.1 : 0.5) << share << ", " << phase;
            TruePeak inPieces;
            for (size_t i = 0; i < samples.size(); i += 7)
                inPieces.Add(std::span(samples).subspan(i, std::min<size_t>(7, samples.size() - i)));
            EXPECT_EQ(inPieces.Peak(), whole.Peak());
        }
    }
    for (const size_t click : {0U, 1U, 1023U, 1024U, 2046U}) {
        std::vector<double> samples(2047);
        samples[click] = -0.75;
        TruePeak peak;
        peak.Add(samples);
        EXPECT_EQ(peak.Peak(), 0.75) << click;
    }
    TruePeak square;  // rings beyond its last sample
    square.Add(std::vector<double>(1000, 0.5));
    EXPECT_NEAR(square.Peak(), 0.55, 0.02);
}

TEST(AudioMeter, MeasuresEveryChannelAndAll) {
    constexpr size_t kFrames = 10'000;
    std::vector<double> frames(2 * kFrames);
    const auto set = [&](size_t channel, size_t from, size_t to, double value) {
        for (size_t i = from; i < to; ++i) frames[2 * i + channel] = value;
    };
    set(0, 2000, 9000, 0.5);
    set(0, 1023, 1027, -1);  // a run over the boundary of blocks
    set(0, 3000, 3002, 1);   // too short for one
    set(0, 4000, 4003, 1.5);
    set(1, 100, 200, 0.0009);  // not heard
    set(1, 500, 9990, -0.25);
    AudioMeter meter(FloatFormat(2));
    meter.Add(frames);
    const AudioMeasures measures = meter.Measures();
    const SampleMeasures& left = measures.channels[0];
    EXPECT_EQ(left.peak, 1.5);
    EXPECT_GE(left.truePeak, 1.5);
    EXPECT_EQ(std::pair(left.clippedRuns, left.clippedSamples), std::pair(int64_t{2}, int64_t{7}));
    EXPECT_EQ(std::pair(left.silenceAtStart, left.silenceAtEnd), std::pair(int64_t{1023}, int64_t{1000}));
    EXPECT_NEAR(left.dc, (6995 * 0.5 - 4 + 2 + 4.5) / kFrames, 1e-12);
    EXPECT_NEAR(left.rms, std::sqrt((6995 * 0.25 + 4 + 2 + 6.75) / kFrames), 1e-12);
    const SampleMeasures& all = measures.all;
    EXPECT_EQ(std::pair(all.silenceAtStart, all.silenceAtEnd), std::pair(int64_t{500}, int64_t{10}));
    EXPECT_EQ(std::pair(all.peak, all.clippedRuns), std::pair(1.5, int64_t{2}));
    EXPECT_EQ(all.dc, left.dc);
    EXPECT_NEAR(all.rms, std::sqrt((left.rms * left.rms + 9490 * 0.0625 / kFrames) / 2), 1e-4);
}

// An independent witness of peak, RMS and DC.
TEST_F(Stats, AreThoseOfSoX) {
    shop.Do("w64 sample a.w64 --seconds 2 && w64 decode -q a.w64 && "
            "w64 stats --json a.wav a.w64 > stats.json && sox a.wav -n stats 2> sox.txt");
    const std::string json = ReadText(shop.Path() / "stats.json");
    std::map<std::string, double> sox;
    std::istringstream lines(ReadText(shop.Path() / "sox.txt"));
    for (std::string line; std::getline(lines, line);) {
        if (line.size() > 13) sox[line.substr(0, 10)] = std::atof(line.substr(13).c_str());
    }
    for (const char* file : {"/0/", "/1/"}) {
        const auto ours = [&](const char* name) { return std::stod(JsonAt(json, std::string(file) + name)); };
        EXPECT_NEAR(ours("samplePeak"), sox["Pk lev dB "], 0.006);
        EXPECT_NEAR(ours("rms"), sox["RMS lev dB"], 0.006);
        EXPECT_NEAR(ours("dc"), sox["DC offset "], 1e-6);
    }
}

}  // namespace w64
