#include "SoundFile.h"
#include "Workshop.h"
#include "host/AxisTicks.h"
#include "host/Envelope.h"
#include "host/Spectrogram.h"

#include <cairo.h>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>

namespace {

// Frames in blocks that go with nothing.
template <class Analysis>
void AddInBlocks(Analysis& analysis, std::span<const double> samples, size_t blockSamples) {
    while (!samples.empty()) {
        const auto block = samples.first(std::min(blockSamples, samples.size()));
        analysis.Add(block);
        samples = samples.subspan(block.size());
    }
}

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> belowTitle;

    explicit Picture(const std::filesystem::path& file) {
        cairo_surface_t* surface = cairo_image_surface_create_from_png(file.c_str());
        if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) {
            width = cairo_image_surface_get_width(surface);
            height = cairo_image_surface_get_height(surface);
            const int stride = cairo_image_surface_get_stride(surface);
            const uint8_t* data = cairo_image_surface_get_data(surface);
            constexpr int kTitle = 48;
            belowTitle.assign(data + kTitle * stride, data + height * stride);
        }
        cairo_surface_destroy(surface);
    }
};

Bytes Floats(const std::vector<float>& samples) {
    Bytes bytes;
    for (const float sample : samples) Append(bytes, sample);
    return bytes;
}

}  // namespace

TEST(Spectrogram, SineIsALineOfItsLevelAndNothingElse) {
    constexpr int64_t kFrames = 60'000;
    constexpr size_t kRows = 200;
    constexpr double kRate = 48000;
    const struct {
        double hertz;
        double floor;
        int64_t expectedFrames;
    } cases[] = {{1000, -120, kFrames}, {1017.3, -220, kFrames},    {20011, -120, kFrames},
                 {5000, -60, 0},        {1000, -120, kFrames / 50}, {1000, -120, INT64_MAX}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.hertz << " Hz, " << c.expectedFrames << " frames expected");
        std::vector<double> samples;  // stereo, the second channel silent
        for (int64_t i = 0; i < kFrames; ++i) {
            samples.push_back(std::sin(2 * std::numbers::pi * c.hertz * static_cast<double>(i) / kRate));
            samples.push_back(0);
        }
        Spectrogram spectrogram({2, kRows, 100, c.floor, c.expectedFrames});
        AddInBlocks(spectrogram, samples, 2 * 1237);
        spectrogram.Finish();

        const auto columns = static_cast<int64_t>(spectrogram.Columns());
        EXPECT_TRUE(columns >= 100 && columns <= 200) << columns;
        EXPECT_EQ(columns, (kFrames + spectrogram.FramesPerColumn() - 1) / spectrogram.FramesPerColumn());
        const double line = c.hertz / (kRate / 2) * kRows;
        for (size_t i = 0; i < spectrogram.Columns(); ++i) {
            const auto column = spectrogram.Column(i);
            const auto highest = std::max_element(column.begin(), column.end());
            EXPECT_NEAR(static_cast<double>(highest - column.begin()) + 0.5, line, 1);
            EXPECT_NEAR(10 * std::log10(*highest), -3.01, 0.1);  // the mean over the channels
            double leak = 0;
            for (size_t row = 0; row < kRows; ++row) {
                const double hertz = std::abs(static_cast<double>(row) - line) / kRows * kRate / 2;
                if (hertz > 2500) leak = std::max(leak, static_cast<double>(column[row]));
            }
            EXPECT_LT(10 * std::log10(leak), c.floor);
        }
    }
}

TEST(Spectrogram, FewFramesAreEnough) {
    for (const size_t frames : {1, 2, 63, 64, 100}) {
        Spectrogram spectrogram({1, 300, 1000, -120, static_cast<int64_t>(frames)});
        spectrogram.Add(std::vector<double>(frames, 0.5));
        spectrogram.Finish();
        ASSERT_EQ(spectrogram.Columns(), frames);
        const auto column = spectrogram.Column(frames - 1);
        EXPECT_GT(column[0], 1e-4);
        EXPECT_TRUE(std::ranges::all_of(column, [](float power) { return std::isfinite(power); }));
    }
}

TEST(Envelope, MissesNoSample) {
    constexpr size_t kFrames = 123'457;
    for (const size_t click : {size_t{0}, size_t{77'777}, kFrames - 1}) {
        std::vector<double> samples(2 * kFrames, 0.25);
        samples[2 * click + 1] = -0.5;
        for (const bool together : {false, true}) {
            Envelope envelope(2, together, 100);
            AddInBlocks(envelope, samples, 2 * 1237);
            EXPECT_EQ(envelope.Frames(), static_cast<int64_t>(kFrames));
            const auto lane = envelope.Lane(envelope.Lanes() - 1);
            EXPECT_TRUE(lane.size() > 100 && lane.size() <= 200) << lane.size();
            int64_t count = 0;
            for (size_t i = 0; i < lane.size(); ++i) {
                const bool hasClick = i == click / static_cast<size_t>(envelope.FramesPerColumn());
                EXPECT_EQ(lane[i].low, hasClick ? -0.5 : 0.25);
                EXPECT_EQ(lane[i].high, 0.25);
                EXPECT_NEAR(lane[i].RootMeanSquare(), 0.25, 0.01);
                count += lane[i].samples;
            }
            EXPECT_EQ(count, static_cast<int64_t>(together ? 2 * kFrames : kFrames));
        }
    }
}

TEST(AxisTicks, StepsAndLabels) {
    EXPECT_DOUBLE_EQ(RoundStep(0.0003), 0.0005);
    EXPECT_DOUBLE_EQ(RoundStep(1000), 1000);
    EXPECT_DOUBLE_EQ(TimeStep(8), 10);
    EXPECT_DOUBLE_EQ(TimeStep(31), 60);
    EXPECT_DOUBLE_EQ(TimeStep(3601), 7200);
    EXPECT_EQ(TimeLabels(5, 0.5)(1.5), "1.5");
    EXPECT_EQ(TimeLabels(0.05, 0.005)(0.045), "45");
    EXPECT_EQ(TimeLabels(60, 5)(5), "0:05");
    EXPECT_EQ(TimeLabels(7200, 600)(4200), "1:10:00");
    EXPECT_EQ(FrequencyLabel(500), "500");
    EXPECT_EQ(FrequencyLabel(22500), "22.5k");
}

TEST(Plot, EveryKindOfFileGivesThePictureOfItsAudio) {
    const Workshop shop;
    ASSERT_EQ(
        shop.Run("w64 sample a.w64 --seconds 2 && w64 decode a.w64 && w64 decode a.w64 -o a.flac").status, 0);
    ASSERT_EQ(shop.Run("w64 plot a.w64 --size 800x500 --floor -180").status, 0);
    const Picture picture(shop.Path() / "a.png");
    EXPECT_EQ(picture.width, 800);
    EXPECT_EQ(picture.height, 500);
    for (const std::string name : {"a.wav", "a.flac"}) {
        ASSERT_EQ(shop.Run("w64 plot " + name + " -o b.png -f --size 800x500 --floor -180").status, 0);
        EXPECT_EQ(Picture(shop.Path() / "b.png").belowTitle, picture.belowTitle) << name;
    }
    ASSERT_EQ(shop.Run("w64 plot a.w64 -o b.png -f").status, 0);
    EXPECT_EQ(Picture(shop.Path() / "b.png").width, 1600);
}

TEST(Plot, WhatIsNoNumberIsDrawnAsSilence) {
    const Workshop shop;
    std::vector<float> samples(4000, 0.25F);
    const auto plot = [&](const std::string& name) {
        SoundFile(shop.Path() / (name + ".wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1)
            .WriteRaw(Floats(samples));
        return shop.Run("w64 plot " + name + ".wav");
    };
    samples[1000] = samples[2000] = samples[3000] = 0;
    ASSERT_EQ(plot("a").status, 0);
    samples[1000] = std::numeric_limits<float>::quiet_NaN();
    samples[2000] = std::numeric_limits<float>::infinity();
    samples[3000] = -samples[2000];
    const Outcome outcome = plot("b");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "3 samples are infinite or no numbers", outcome.errors);
    EXPECT_EQ(Picture(shop.Path() / "a.png").belowTitle, Picture(shop.Path() / "b.png").belowTitle);
}

TEST(Plot, LosesAndPretendsNothing) {
    const Workshop shop;
    ASSERT_EQ(shop.Run("w64 sample a.w64 --seconds 1").status, 0);
    shop.Write("a.png", Pattern(100));
    EXPECT_EQ(shop.Run("w64 plot a.w64").status, 1);
    EXPECT_EQ(shop.Run("w64 plot a.w64 -o a.jpg").status, 2);
    EXPECT_EQ(shop.Run("w64 plot a.w64 -o nowhere/b.png").status, 1);
    EXPECT_EQ(shop.Run("w64 plot a.png -o b.png").status, 1);
    SoundFile(shop.Path() / "empty.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw({});
    EXPECT_EQ(shop.Run("w64 plot empty.wav").status, 1);
    EXPECT_EQ(shop.Files(), (std::set<std::string>{"a.w64", "a.png", "empty.wav"}));
    EXPECT_EQ(shop.Read("a.png"), Pattern(100));

    shop.Write("cut.w64", Slice(shop.Read("a.w64"), 0, 100'000));
    const Outcome outcome = shop.Run("w64 plot cut.w64");  // as far as it goes
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors, "");
    EXPECT_EQ(Picture(shop.Path() / "cut.png").width, 1600);
}
