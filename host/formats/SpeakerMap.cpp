#include "host/formats/SpeakerMap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <sndfile.h>

namespace w64 {

namespace {

// In the order of the mask's bits.
constexpr std::array<int, 18> kSpeakers = {SF_CHANNEL_MAP_LEFT,
                                           SF_CHANNEL_MAP_RIGHT,
                                           SF_CHANNEL_MAP_CENTER,
                                           SF_CHANNEL_MAP_LFE,
                                           SF_CHANNEL_MAP_REAR_LEFT,
                                           SF_CHANNEL_MAP_REAR_RIGHT,
                                           SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
                                           SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
                                           SF_CHANNEL_MAP_REAR_CENTER,
                                           SF_CHANNEL_MAP_SIDE_LEFT,
                                           SF_CHANNEL_MAP_SIDE_RIGHT,
                                           SF_CHANNEL_MAP_TOP_CENTER,
                                           SF_CHANNEL_MAP_TOP_FRONT_LEFT,
                                           SF_CHANNEL_MAP_TOP_FRONT_CENTER,
                                           SF_CHANNEL_MAP_TOP_FRONT_RIGHT,
                                           SF_CHANNEL_MAP_TOP_REAR_LEFT,
                                           SF_CHANNEL_MAP_TOP_REAR_CENTER,
                                           SF_CHANNEL_MAP_TOP_REAR_RIGHT};

// libsndfile has two names for some speakers.
int SpeakerOf(int channel) {
    switch (channel) {
    case SF_CHANNEL_MAP_FRONT_LEFT:
        return SF_CHANNEL_MAP_LEFT;
    case SF_CHANNEL_MAP_FRONT_RIGHT:
        return SF_CHANNEL_MAP_RIGHT;
    case SF_CHANNEL_MAP_FRONT_CENTER:
        return SF_CHANNEL_MAP_CENTER;
    default:
        return channel;
    }
}

}  // namespace

uint32_t ChannelMaskFromMap(std::span<const int> map) {
    uint32_t mask = 0;
    const auto* next = kSpeakers.begin();
    for (const int channel : map) {
        const auto* found = std::find(next, kSpeakers.end(), SpeakerOf(channel));
        if (found == kSpeakers.end()) return 0;
        mask |= 1u << (found - kSpeakers.begin());
        next = found + 1;
    }
    return mask;
}

std::vector<int> ChannelMapFromMask(uint32_t mask, int channels) {
    constexpr uint32_t known = (1u << kSpeakers.size()) - 1;
    if ((mask & ~known) != 0 || std::popcount(mask) != channels) return {};
    std::vector<int> map;
    for (size_t bit = 0; bit < kSpeakers.size(); ++bit) {
        if (mask >> bit & 1) map.push_back(kSpeakers[bit]);
    }
    return map;
}

}  // namespace w64
