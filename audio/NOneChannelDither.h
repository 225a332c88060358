#pragma once

#include <cstdint>

// Requantises one channel from 32 bits to 16 or 24.
class NOneChannelDither {
public:
    // The options are "key=value" pairs separated by ';', ',' or a line end, with blanks around each ignored;
    // "dither" gives the level, 0 when it is absent or no number.
    void Create(int bits, const wchar_t* options);

    // The level does not alter the result: what reaches this point has been rounded at 32 bits.
    int32_t Dither(int32_t value) const { return bits_ == 16 ? value >> 16 : value >> 8; }

    int32_t Level() const { return level_; }

private:
    int32_t bits_ = 0;
    int32_t level_ = 0;
};
