#pragma once

#include <array>
#include <complex>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace w64 {

// A pleasant test signal: the notes of a major chord, up and down, each struck softly and left to ring, moving
// through the channels from side to side. The same on every run.
// Units:  frames; samples lie strictly between -1 and 1.
class Arpeggio {
public:
    Arpeggio(unsigned channels, unsigned framesPerSecond, int64_t frames);

    // Fills `out` with the next frames, interleaved; past the end they are silent.
    void Render(std::span<double> out);

private:
    static constexpr size_t kPartials = 4;

    // Each partial is a point that rotates and decays towards 0; its imaginary part is the sound.
    struct Note {
        std::array<std::complex<double>, kPartials> points;
        std::array<std::complex<double>, kPartials> steps;
        int64_t framesLeft;
        size_t leftChannel;  // it is panned between this one and the next
        double leftGain;
        double rightGain;
    };

    void Strike();
    void AddNotes(std::span<double> frame);
    double Fade() const;

    unsigned channels_;
    unsigned framesPerSecond_;
    int64_t frames_;
    int64_t position_ = 0;
    int64_t notesStruck_ = 0;
    std::deque<Note> ringing_;
};

}  // namespace w64
