#include "HostWorkshop.h"
#include "SoundFile.h"
#include "host/plot/AxisTicks.h"
#include "host/plot/Envelope.h"
#include "host/plot/FrequencyScale.h"
#include "host/plot/PlotLayout.h"
#include "host/plot/Spectrogram.h"

#include <cairo.h>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace w64 {

namespace {

using Plot = HostTest;

// Frames in blocks that go with nothing.
template <class Analysis>
void AddInBlocks(Analysis& analysis, std::span<const double> samples, size_t blockSamples) {
    while (!samples.empty()) {
        const auto block = samples.first(std::min(blockSamples, samples.size()));
        analysis.Add(block);
        samples = samples.subspan(block.size());
    }
}

class Picture {
public:
    explicit Picture(const std::filesystem::path& png)
        : image_(cairo_image_surface_create_from_png(png.c_str()), cairo_surface_destroy) {}

    // The sum of red, green and blue, at shares of an area from its left and its bottom.
    int Brightness(const PictureArea& area, double x, double y) const {
        const auto column = area.left + static_cast<int>(x * area.width);
        const auto row = area.Bottom() - static_cast<int>(y * area.height);
        const uint8_t* pixel = cairo_image_surface_get_data(image_.get()) +
                               static_cast<ptrdiff_t>(row) * cairo_image_surface_get_stride(image_.get()) +
                               static_cast<ptrdiff_t>(column) * 4;
        return pixel[0] + pixel[1] + pixel[2];
    }

    // How many lines of text lie in an area, from top to bottom.
    int LinesOfText(const PictureArea& area) const {
        int lines = 0;
        bool wasInk = false;
        for (int y = area.height - 1; y >= 0; --y) {
            bool isInk = false;
            for (int x = 0; x < area.width; ++x)
                isInk |= Brightness(area, (x + 0.5) / area.width, (y + 0.5) / area.height) < 600;
            lines += isInk && !wasInk;
            wasInk = isInk;
        }
        return lines;
    }

    std::vector<int> Brightnesses(const PictureArea& area) const {
        std::vector<int> all;
        for (int y = 0; y < area.height; ++y) {
            for (int x = 0; x < area.width; ++x)
                all.push_back(Brightness(area, (x + 0.5) / area.width, (y + 0.5) / area.height));
        }
        return all;
    }

private:
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> image_;
};

}  // namespace

// On the left a loud low tone above silence and on the right a soft high one, then a tone before silence.
TEST_F(Plot, TimeFrequencyAndLevelRunTheRightWay) {
    constexpr int kHalf = 22050;
    Bytes samples;
    for (int i = 0; i < 2 * kHalf; ++i) {
        const auto tone = [i](double hertz) { return std::sin(2 * std::numbers::pi * hertz * i / 44100); };
        Append(samples, static_cast<float>(i < kHalf ? 0.4 + 0.4 * tone(5000) : 0.1 * tone(17000)));
        Append(samples, static_cast<float>(i < kHalf ? 0.4 * tone(5000) : 0));
    }
    SoundFile(shop.Path() / "a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2).WriteRaw(samples);
    shop.Do("w64 plot a.wav --size 640x400");
    const Picture picture(shop.Path() / "a.png");
    const PlotLayout layout({640, 400}, 2);
    const struct {
        size_t lane;
        double x, level;
        bool isDrawn;
    } levels[] = {
        {0, 0.2, 0.65, true}, {0, 0.2, -0.65, false}, {0, 0.8, 0.65, false}, {0, 0.8, -0.05, true},
        {1, 0.2, 0.35, true}, {1, 0.2, -0.35, true},  {1, 0.2, 0.65, false}, {1, 0.8, 0.1, false},
    };
    for (const auto& c : levels) {
        const int brightness = picture.Brightness(layout.Lane(c.lane), c.x, 0.5 + c.level / 2);
        EXPECT_EQ(brightness < 600, c.isDrawn) << c.lane << " at " << c.x << ", " << c.level;
    }
    const auto power = [&](double x, double hertz) {
        return picture.Brightness(layout.Spectrogram(), x, hertz / 22050);
    };
    EXPECT_GT(power(0.2, 5000), 250);
    EXPECT_GT(power(0.8, 17000), 250);
    for (const auto& [x, hertz] : {std::pair(0.2, 17000.0), {0.8, 5000.0}, {0.3, 11000.0}})
        EXPECT_LT(power(x, hertz), 150) << x << ", " << hertz;

    shop.Do("w64 plot a.wav --size 640x400 --log -o log.png");
    const Picture byOctaves(shop.Path() / "log.png");
    const FrequencyScale scale(22050, true);
    for (const auto& [x, hertz, isThere] :
         {std::tuple(0.2, 5000.0, true), {0.8, 17000.0, true}, {0.8, 5000.0, false}}) {
        const int brightness = byOctaves.Brightness(layout.Spectrogram(), x, scale.PlaceOf(hertz));
        EXPECT_EQ(brightness > 200, isThere) << x << ", " << hertz;
    }
}

TEST_F(Plot, EveryAxisIsLabelled) {
    shop.Do("w64 sample a.w64 --seconds 1 --rate 44100 && w64 plot a.w64 --size 640x640");
    const Picture picture(shop.Path() / "a.png");
    const PlotLayout layout({640, 640}, 2);
    const PictureArea waveform = layout.Waveform();
    const PictureArea spectrogram = layout.Spectrogram();
    const PictureArea lane = layout.Lane(0);
    const PictureArea scale = layout.ColourScale();
    const struct {
        const char* what;
        PictureArea area;
        int lines;
    } cases[] = {
        {"the title", {waveform.left, 0, waveform.width, waveform.top - 8}, 1},
        {"levels, -12 being too close to -inf", {40, lane.top - 8, 36, lane.height}, 3},
        {"a channel", {lane.Right() + 8, lane.top, 60, lane.height}, 1},
        {"frequencies", {40, spectrogram.top - 8, 36, spectrogram.height + 16}, 5},
        {"times and what they are", {spectrogram.left, spectrogram.Bottom() + 7, spectrogram.width, 50}, 2},
        {"colours", {scale.Right() + 8, scale.top - 8, 26, scale.height + 16}, 13},
    };
    for (const auto& c : cases) EXPECT_EQ(picture.LinesOfText(c.area), c.lines) << c.what;
    for (const PictureArea& upwards : {PictureArea{0, waveform.top, 36, waveform.height},
                                       {0, spectrogram.top, 36, spectrogram.height},
                                       {640 - 32, spectrogram.top, 32, spectrogram.height}})
        EXPECT_GT(picture.LinesOfText(upwards), 8) << "letters";

    for (const auto& [height, lines] : {std::pair(545, 3), {640, 4}}) {  // with room for -12 or without
        shop.Do("w64 sample a.w64 -f --seconds 1 --channels 1 && w64 plot a.w64 -f --size 640x" +
                std::to_string(height));
        const PictureArea only = PlotLayout({640, height}, 1).Lane(0);
        const Picture mono(shop.Path() / "a.png");
        EXPECT_EQ(mono.LinesOfText({40, only.top - 8, 36, only.height + 16}), lines) << height;
    }
}

TEST(Spectrogram, SineIsALineOfItsLevelAndNothingElse) {
    constexpr int64_t kFrames = 60'000;
    constexpr size_t kRows = 200;
    constexpr double kRate = 48000;
    const FrequencyScale evenly(kRate / 2, false);
    const FrequencyScale byOctaves(kRate / 2, true);
    const std::tuple<double, double, int64_t, FrequencyScale> cases[] = {
        {1000, -120, kFrames, evenly},   {1017.3, -220, kFrames, evenly},    {20011, -120, kFrames, evenly},
        {5000, -60, 0, evenly},          {1000, -120, kFrames / 50, evenly}, {1000, -120, INT64_MAX, evenly},
        {440, -120, kFrames, byOctaves}, {20011, -220, kFrames, byOctaves}};
    for (const auto& [hertz, floor, expectedFrames, scale] : cases) {
        SCOPED_TRACE(testing::Message() << hertz << " Hz, " << expectedFrames << " frames expected");
        std::vector<double> samples;  // stereo, the second channel silent
        for (int64_t i = 0; i < kFrames; ++i) {
            samples.push_back(std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate));
            samples.push_back(0);
        }
        Spectrogram spectrogram({2, kRows, 100, floor, expectedFrames, scale});
        AddInBlocks(spectrogram, samples, 2 * 1237);
        spectrogram.Finish();

        const auto columns = static_cast<int64_t>(spectrogram.Columns());
        EXPECT_TRUE(columns >= 100 && columns <= 200) << columns;
        EXPECT_EQ(columns, (kFrames + spectrogram.FramesPerColumn() - 1) / spectrogram.FramesPerColumn());
        const double line = scale.PlaceOf(hertz) * kRows;
        for (size_t i = 0; i < spectrogram.Columns(); ++i) {
            const auto column = spectrogram.Column(i);
            const auto highest = std::max_element(column.begin(), column.end());
            EXPECT_NEAR(static_cast<double>(highest - column.begin()) + 0.5, line, 1);
            EXPECT_NEAR(10 * std::log10(*highest), -3.01, 0.1);  // the mean over the channels
            double leak = 0;
            for (size_t row = 0; row < kRows; ++row) {
                const double place = (static_cast<double>(row) + 0.5) / kRows;
                if (std::abs(scale.At(place) - hertz) > 2500)
                    leak = std::max(leak, static_cast<double>(column[row]));
            }
            EXPECT_LT(10 * std::log10(leak), floor);
        }
    }
}

// Of columns that are less than a job, and of ones that are many.
TEST(Spectrogram, IsTheSameOnAnyNumberOfThreads) {
    const FrequencyScale scale(24000, false);
    std::mt19937 random(15);
    for (const int channels : {2, 3}) {
        std::vector<double> samples(static_cast<size_t>(channels) * 20'003);
        for (double& sample : samples) sample = std::uniform_real_distribution(-1.0, 1.0)(random);
        for (const int64_t expectedFrames : {0, 20'003}) {
            Spectrogram one({channels, 50, 5, -120, expectedFrames, scale});
            Spectrogram four({channels, 50, 5, -120, expectedFrames, scale, 4});
            AddInBlocks(one, samples, samples.size());
            AddInBlocks(four, samples, static_cast<size_t>(channels) * 777);
            one.Finish();
            four.Finish();
            ASSERT_EQ(one.Columns(), four.Columns());
            for (size_t i = 0; i < one.Columns(); ++i) {
                EXPECT_TRUE(std::ranges::equal(one.Column(i), four.Column(i))) << channels << " " << i;
            }
        }
    }
}

TEST(Envelope, MissesNoSample) {
    constexpr size_t kFrames = 123'457;
    const std::pair<size_t, size_t> cases[] = {{2, 0}, {2, 77'777}, {2, kFrames - 1},
                                               {5, 0}, {5, 77'777}, {5, kFrames - 1}};
    for (const auto& [channels, click] : cases) {
        std::vector<double> samples(channels * kFrames, 0.25);
        samples[channels * click + channels - 1] = -0.5;
        for (const bool together : {false, true}) {
            Envelope envelope(static_cast<int>(channels), together, 100);
            AddInBlocks(envelope, samples, channels * 1237);
            EXPECT_EQ(envelope.Frames(), static_cast<int64_t>(kFrames));
            const auto lane = envelope.Lane(together ? 0 : channels - 1);
            EXPECT_TRUE(lane.size() > 100 && lane.size() <= 200) << lane.size();
            int64_t count = 0;
            for (size_t i = 0; i < lane.size(); ++i) {
                const bool hasClick = i == click / static_cast<size_t>(envelope.FramesPerColumn());
                EXPECT_EQ(lane[i].low, hasClick ? -0.5 : 0.25);
                EXPECT_EQ(lane[i].high, 0.25);
                EXPECT_NEAR(lane[i].RootMeanSquare(), 0.25, 0.01);
                count += lane[i].samples;
            }
            EXPECT_EQ(count, static_cast<int64_t>(together ? channels * kFrames : kFrames));
        }
    }
}

TEST(AxisTicks, StepsAndLabels) {
    EXPECT_DOUBLE_EQ(RoundStep(0.0003), 0.0005);
    for (const double step : {10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200}) {
        EXPECT_DOUBLE_EQ(TimeStep(0.9 * step), step);
    }
    EXPECT_EQ(TimeLabels(5, 0.5)(1.5), "1.5");
    EXPECT_EQ(TimeLabels(0.05, 0.005)(0.045), "45");
    EXPECT_EQ(TimeLabels(7200, 600)(4200), "1:10:00");
    EXPECT_EQ(TimeLabels(3661, 0.05)(3660.55), "1:01:00.55");
    EXPECT_EQ(FrequencyScale(1000, false).Ticks(0.3), (std::vector<double>{0, 500, 1000}));
    EXPECT_EQ(FrequencyScale(500, true).Ticks(0.1), (std::vector<double>{5, 10, 20, 50, 100, 200, 500}));
    EXPECT_EQ(FrequencyLabel(500), "500");
    EXPECT_EQ(FrequencyLabel(22500), "22.5k");
}

TEST_F(Plot, EveryKindOfFileGivesThePictureOfItsAudio) {
    shop.Do("mkdir b c && w64 sample a.w64 --seconds 1 && w64 decode a.w64 -o b.wav && mv b.wav b/a.w64 && "
            "w64 decode a.w64 -o c.flac && mv c.flac c/a.w64 && "
            "w64 plot -j 3 a.w64 b/a.w64 c/a.w64 --size 800x400 --floor -180");
    const Bytes picture = shop.Read("a.png");
    EXPECT_EQ(Bytes(picture.begin() + 18, picture.begin() + 24),
              (Bytes{800 / 256, 800 % 256, 0, 0, 400 / 256, 400 % 256}));
    EXPECT_TRUE(shop.Read("b/a.png") == picture) << "of a WAV file";
    EXPECT_TRUE(shop.Read("c/a.png") == picture) << "of a FLAC file";
}

// As the plot of a file that holds only this part, with times of its own.
TEST_F(Plot, PartOfAFileLiesWhereItIsInTheFile) {
    shop.Do("w64 sample a.w64 --seconds 1 && w64 decode a.w64 -o a.flac && mkdir plots && "
            "w64 decode a.w64 --start 0.2 --end 0.7 -o part.wav && w64 plot part.wav --size 640x400 && "
            "w64 plot a.w64 --start 0.2 --end 0.7 --size 640x400 -o plots && "
            "w64 plot a.flac --start 9600f --end 33600f --size 640x400");
    const PlotLayout layout({640, 400}, 2);
    const Picture part(shop.Path() / "part.png");
    for (const char* name : {"plots/a.png", "a.png"}) {
        const Picture picture(shop.Path() / name);
        EXPECT_EQ(picture.Brightnesses(layout.Waveform()), part.Brightnesses(layout.Waveform())) << name;
        EXPECT_EQ(picture.Brightnesses(layout.Spectrogram()), part.Brightnesses(layout.Spectrogram()))
            << name;
    }
    EXPECT_FALSE(shop.Read("a.png") == shop.Read("part.png")) << "with the same times";
}

TEST_F(Plot, WhatIsNoNumberIsDrawnAsSilence) {
    const float infinite = std::numeric_limits<float>::infinity();
    std::string notes;
    const auto plot = [&](float first, float second, float third) {
        Bytes samples;
        for (int i = 0; i < 1000; ++i) {
            for (const float sample : {0.25F, first, second, third})
                Append(samples, i == 500 ? sample : 0.25F);
        }
        SoundFile(shop.Path() / "a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1).WriteRaw(samples);
        notes = shop.Do("w64 plot -f a.wav --size 640x400").errors;
        return shop.Read("a.png");
    };
    const Bytes silent = plot(0, 0, 0);
    EXPECT_TRUE(plot(std::numeric_limits<float>::quiet_NaN(), infinite, -infinite) == silent);
    EXPECT_HAS("3 samples are infinite or NaN", notes);
}

TEST_F(Plot, LosesAndPretendsNothing) {
    shop.Do("w64 sample a.w64 --seconds 1 --padding 0");
    shop.Write("a.png", Pattern(100));
    SoundFile(shop.Path() / "empty.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw({});
    shop.ExpectRefused({{"plot a.w64", 1, "exists already"},
                        {"plot a.png -o b.png", 1, "a.png: "},
                        {"plot empty.wav", 1, "holds no audio"},
                        {"plot a.w64 -o b.png --start 1", 1, "has no audio at --start"},
                        {"plot a.w64 -o b.png --start 0.5 --end 2f", 1, "--start is after --end"},
                        {"plot a.w64 empty.wav -o b.png", 2, "several files need a folder"}});
    shop.Write("cut.w64", Slice(shop.Read("a.w64"), 0, 100'000));
    const Outcome outcome = shop.Run("w64 plot cut.w64 --size 640x400");  // as far as it goes
    EXPECT_EQ(outcome.status, 1);
    EXPECT_HAS("cut.w64: the file is cut off after 0:00:00.346, 188,106 bytes of audio are missing\n",
               outcome.errors);
    shop.Do("w64 decode -q cut.w64 --salvage && mkdir whole && mv cut.wav whole/cut.w64 && "
            "w64 plot whole/cut.w64 --size 640x400");
    EXPECT_TRUE(shop.Read("cut.png") == shop.Read("whole/cut.png")) << "not all that is there";
}

}  // namespace w64
