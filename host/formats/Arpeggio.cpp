#include "host/formats/Arpeggio.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace w64 {

namespace {

constexpr double kSecondsBetweenNotes = 0.4;
constexpr double kSecondsOfRinging = 2.4;
constexpr double kFadeSeconds = 0.1;
constexpr double kRootHertz = 220;
constexpr double kLoudness = 0.45;  // the peak is at most 0.45 * 1.42 (partials) * 1.43 (notes)
constexpr double kDecayPerSecond = 3;
constexpr std::array kChord = {1.0, 1.25, 1.5, 2.0, 1.5, 1.25};

}  // namespace

Arpeggio::Arpeggio(unsigned channels, unsigned framesPerSecond, int64_t frames)
    : channels_(channels), framesPerSecond_(framesPerSecond), frames_(frames) {}

void Arpeggio::Render(std::span<double> out) {
    std::ranges::fill(out, 0.0);
    for (; !out.empty() && position_ < frames_; out = out.subspan(channels_), ++position_) {
        if (static_cast<double>(position_) >=
            static_cast<double>(notesStruck_) * kSecondsBetweenNotes * framesPerSecond_) {
            Strike();
        }
        AddNotes(out.first(channels_));
    }
}

void Arpeggio::Strike() {
    const double root = kRootHertz * kChord[static_cast<size_t>(notesStruck_) % kChord.size()];
    Note note{};
    for (size_t i = 0; i < kPartials; ++i) {
        const double harmonic = static_cast<double>(i + 1);
        const double hertz = root * harmonic;
        if (hertz * 2 >= framesPerSecond_) break;
        note.points[i] = kLoudness / (harmonic * harmonic);
        note.steps[i] = std::polar(std::exp(-kDecayPerSecond * harmonic / framesPerSecond_),
                                   2 * std::numbers::pi * hertz / framesPerSecond_);
    }
    note.framesLeft = std::llround(kSecondsOfRinging * framesPerSecond_);

    // Seven notes from one side to the other and seven back, panned with equal power.
    const double place =
        (1 - std::cos(static_cast<double>(notesStruck_) * std::numbers::pi / 7)) / 2 * (channels_ - 1);
    note.leftChannel = std::min(static_cast<size_t>(place), static_cast<size_t>(std::max(channels_, 2u) - 2));
    const double angle = (place - static_cast<double>(note.leftChannel)) * std::numbers::pi / 2;
    note.leftGain = std::cos(angle);
    note.rightGain = std::sin(angle);
    ringing_.push_back(note);
    ++notesStruck_;
}

void Arpeggio::AddNotes(std::span<double> frame) {
    const double fade = Fade();
    for (Note& note : ringing_) {
        double height = 0;
        for (size_t i = 0; i < kPartials; ++i) {
            height += note.points[i].imag();
            note.points[i] *= note.steps[i];
        }
        --note.framesLeft;
        frame[note.leftChannel] += height * note.leftGain * fade;
        if (note.leftChannel + 1 < frame.size())
            frame[note.leftChannel + 1] += height * note.rightGain * fade;
    }
    if (!ringing_.empty() && ringing_.front().framesLeft <= 0) ringing_.pop_front();
}

// 0 at both ends of the signal.
double Arpeggio::Fade() const {
    const double length = std::min(kFadeSeconds * framesPerSecond_, static_cast<double>(frames_) / 2);
    const auto fromEnd = static_cast<double>(std::min(position_, frames_ - 1 - position_));
    return fromEnd >= length ? 1 : std::sin(fromEnd / length * std::numbers::pi / 2);
}

}  // namespace w64
