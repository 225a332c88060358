#pragma once

#include "TempFolder.h"
#include "mp3/library/MPG123Handle.h"

#include <cstdlib>
#include <mpg123.h>
#include <stdexcept>

namespace w64 {

// A second of sound as SoX encodes it: LAME for "mp3", whose rates above 32000 Hz are MPEG-1, above 12000 Hz MPEG-2
// and below MPEG-2.5; TwoLAME (layer 2) for "mp2". A negative quality is a variable bit rate, and the stream then
// begins with an MPEG frame that tells about it.
inline Bytes Encoded(int rate, int channels, const std::string& quality, const std::string& kind = "mp3") {
    const TempFolder folder;
    const auto path = folder.Path() / ("a." + kind);
    const std::string make = "sox -R -V1 -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) +
                             " -C " + quality + " " + path.string() +
                             " synth 1 sine 300-3000 pinknoise vol 0.5 2>/dev/null";
    if (std::system(make.c_str()) != 0) throw std::runtime_error("needs SoX with its formats for MPEG audio");
    return ReadBytes(path);
}

// What libmpg123 makes of the stream when it is fed with all of it at once.
inline Bytes DecodedAtOnce(const Bytes& stream, bool gapless = false) {
    const MPG123Handle owner(mpg123_new(nullptr, nullptr));
    mpg123_handle* handle = owner.get();
    mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT, 0);
    if (!gapless) mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0);
    mpg123_open_feed(handle);
    mpg123_feed(handle, stream.data(), stream.size());
    Bytes audio;
    for (int result = MPG123_NEW_FORMAT; result == MPG123_OK || result == MPG123_NEW_FORMAT;) {
        off_t frame = 0;
        uint8_t* samples = nullptr;
        size_t bytes = 0;
        result = mpg123_decode_frame(handle, &frame, &samples, &bytes);
        audio.insert(audio.end(), samples, samples + bytes);
    }
    return audio;
}

}  // namespace w64
