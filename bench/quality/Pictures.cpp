#include "Pictures.h"

#include "Chart.h"
#include "Measurement.h"
#include "Signals.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace w64 {

namespace {

constexpr RatePair kPair{96000, 44100};

struct Candidate {
    const Resampler& resampler;
    const char* name;
    const char* file;
};
constexpr Candidate kCandidates[] = {{kOurs, "w64", "w64"},
                                     {kSampleRate, "libsamplerate best sinc", "libsamplerate"},
                                     {kSoxr, "libsoxr VHQ", "libsoxr"},
                                     {kSteepSoxr, "libsoxr VHQ, no roll-off, 100 Hz", "libsoxr-100hz"}};

Chart ChartOf(const char* title) {
    Chart chart{title, {}, {}};
    for (const Candidate& candidate : kCandidates) chart.names.emplace_back(candidate.name);
    return chart;
}

// The levels of tones across the axis, which is in kHz; each point is the strongest of `together` neighbours.
Chart::Panel Response(Chart::Axis x, Chart::Axis y, int together) {
    Chart::Panel panel{std::move(x), std::move(y), {}};
    constexpr int kPoints = 160;
    const int tones = kPoints * together;
    const auto hertz = [&](int tone) {
        return ToneAngle::Nearest(1000 * std::lerp(panel.x.from, panel.x.to, (tone + 0.5) / tones));
    };
    for (const Candidate& candidate : kCandidates) {
        const Measurement measurement(candidate.resampler, kPair);
        Chart::Curve curve;
        for (int tone = 0; tone < tones; tone += 2) {
            const std::array<double, 2> gains = measurement.Gains({hertz(tone), hertz(tone + 1)});
            for (const int i : {0, 1}) {
                const double gain = gains[static_cast<size_t>(i)];
                if ((tone + i) % together == 0) curve.push_back({hertz(tone + i) / 1000, gain});
                curve.back().y = std::max(curve.back().y, gain);
            }
        }
        panel.curves.push_back(std::move(curve));
    }
    return panel;
}

// An impulse, in dB of its peak, over ms; each point is the strongest of its frames.
Chart::Panel ImpulseResponse(Chart::Axis x, Chart::Axis y, size_t points) {
    Chart::Panel panel{std::move(x), std::move(y), {}};
    Stereo in{kPair.source, std::vector<double>(2 * static_cast<size_t>(kPair.source))};
    in.samples[static_cast<size_t>(kPair.source)] = 1;  // on the left, after half a second
    for (const Candidate& candidate : kCandidates) {
        const Stereo out = candidate.resampler.convert(in, kPair.target);
        Chart::Curve curve(points);
        for (size_t i = 0; i < points; ++i) {
            const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(points);
            curve[i].x = std::lerp(panel.x.from, panel.x.to, share);
        }
        double peak = 0;
        for (int64_t frame = 0; frame < out.Frames(); ++frame) {
            const double magnitude = std::abs(out.samples[static_cast<size_t>(2 * frame)]);
            const double time = 1000 * (static_cast<double>(frame) / kPair.target - 0.5);
            const double share = (time - panel.x.from) / (panel.x.to - panel.x.from);
            peak = std::max(peak, magnitude);
            if (share < 0 || share >= 1) continue;
            double& strongest = curve[static_cast<size_t>(share * static_cast<double>(points))].y;
            strongest = std::max(strongest, magnitude);
        }
        for (Chart::Point& point : curve) point.y = 20 * std::log10(std::max(point.y / peak, 1e-20));
        panel.curves.push_back(std::move(curve));
    }
    return panel;
}

void WriteLeft(const Stereo& audio, const std::filesystem::path& path) {
    std::vector<double> samples;
    for (size_t i = 0; i < audio.samples.size(); i += 2) samples.push_back(audio.samples[i]);
    SF_INFO info{};
    info.samplerate = audio.rate;
    info.channels = 1;
    info.format = SF_FORMAT_W64 | SF_FORMAT_DOUBLE;
    SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    const sf_count_t written = file ? sf_writef_double(file, samples.data(), audio.Frames()) : 0;
    if (sf_close(file) != 0 || written != audio.Frames())
        throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

void DrawPictures(const std::filesystem::path& folder) {
    const Chart::Axis level{"level, dB", -240, 0, 20};
    Chart passBand = ChartOf("Pass band: levels of tones after 96 to 44.1 kHz");
    passBand.panels = {Response({"frequency, kHz", 0, 20, 4}, {"level, dB", -0.00001, 0.00001, 0.000005}, 1),
                       Response({"frequency, kHz", 20, 22.1, 0.5}, {"level, dB", -6, 1, 1}, 2)};
    passBand.Draw(folder / "passband.png");

    Chart stopBand = ChartOf("Stop band: levels of tones after 96 to 44.1 kHz, above 22.05 kHz as aliases");
    stopBand.panels = {Response({"frequency, kHz", 21.9, 22.3, 0.1}, level, 2),
                       Response({"frequency, kHz", 22.1, 48, 4}, level, 4)};
    stopBand.Draw(folder / "stopband.png");

    Chart impulse = ChartOf("Impulse response from 96 to 44.1 kHz");
    impulse.panels = {ImpulseResponse({"time, ms", -75, 75, 25}, level, 401),
                      ImpulseResponse({"time, ms", -4, 4, 1}, level, 81)};
    impulse.Draw(folder / "impulse.png");
}

void WriteSweeps(const std::filesystem::path& folder) {
    constexpr int64_t kSeconds = 8;
    const SweepAngle angle(kPair.source / 2 / kSeconds, kPair.source);
    const Stereo sweep = Sines(angle, angle, kPair.source, kSeconds);
    for (const Candidate& candidate : kCandidates) {
        const std::string name = std::string("sweep-") + candidate.file + ".w64";
        WriteLeft(candidate.resampler.convert(sweep, kPair.target), folder / name);
    }
}

}  // namespace w64
