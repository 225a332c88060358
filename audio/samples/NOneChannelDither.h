#pragma once

#include <cstdint>
#include <random>

namespace w64 {

// Requantises one channel from 32 bits to 16 or 24.
class NOneChannelDither {
public:
    // The options are "key=value" pairs separated by ';', ',' or a line end; blanks around keys and values
    // are ignored.
    //   dither  the level, 0 if absent or not a number
    //   noise   "tpdf" adds triangular noise
    // The seed determines the noise; channels with different seeds have independent noise.
    void Create(int bits, const wchar_t* options, uint64_t seed = 0);

    // Without noise, truncates toward minus infinity. With noise, whose peaks are one step to either side,
    // rounds and clips; the error then has the same mean and power whatever the signal. The level does not
    // alter the result.
    int32_t Dither(int32_t value) { return noisy_ ? WithNoise(value, Shift(), random_) : value >> Shift(); }

    // Dithers every `stride`-th of `count` values, in place. The results stay at 32 bits.
    void DitherInPlace(int32_t* values, int64_t count, int64_t stride);

    int32_t Level() const { return level_; }

private:
    // Only the upper of the 64 bits are random enough.
    using Random = std::linear_congruential_engine<uint64_t, 6364136223846793005, 1442695040888963407, 0>;

    static int32_t WithNoise(int32_t value, int shift, Random& random);

    int Shift() const { return bits_ == 16 ? 16 : 8; }
    int32_t bits_ = 0;
    int32_t level_ = 0;
    bool noisy_ = false;
    Random random_;
};

}  // namespace w64
