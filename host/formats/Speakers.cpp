#include "host/formats/Speakers.h"

#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <sndfile.h>

namespace w64 {

namespace {

struct Speaker {
    const char* name;
    int channel;  // of libsndfile
};

// In the order of the mask's bits.
constexpr std::array<Speaker, 18> kSpeakers = {{
    {"front left", SF_CHANNEL_MAP_LEFT},
    {"front right", SF_CHANNEL_MAP_RIGHT},
    {"front center", SF_CHANNEL_MAP_CENTER},
    {"low frequency", SF_CHANNEL_MAP_LFE},
    {"back left", SF_CHANNEL_MAP_REAR_LEFT},
    {"back right", SF_CHANNEL_MAP_REAR_RIGHT},
    {"front left of center", SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER},
    {"front right of center", SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER},
    {"back center", SF_CHANNEL_MAP_REAR_CENTER},
    {"side left", SF_CHANNEL_MAP_SIDE_LEFT},
    {"side right", SF_CHANNEL_MAP_SIDE_RIGHT},
    {"top center", SF_CHANNEL_MAP_TOP_CENTER},
    {"top front left", SF_CHANNEL_MAP_TOP_FRONT_LEFT},
    {"top front center", SF_CHANNEL_MAP_TOP_FRONT_CENTER},
    {"top front right", SF_CHANNEL_MAP_TOP_FRONT_RIGHT},
    {"top back left", SF_CHANNEL_MAP_TOP_REAR_LEFT},
    {"top back center", SF_CHANNEL_MAP_TOP_REAR_CENTER},
    {"top back right", SF_CHANNEL_MAP_TOP_REAR_RIGHT},
}};

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

// In the mask; 0 for a speaker that it cannot name.
uint32_t BitOf(int channel) {
    const auto* found = std::ranges::find(kSpeakers, SpeakerOf(channel), &Speaker::channel);
    return found == kSpeakers.end() ? 0 : 1u << (found - kSpeakers.begin());
}

}  // namespace

std::vector<std::string> SpeakerNames(uint32_t channelMask) {
    std::vector<std::string> names;
    for (size_t bit = 0; bit < 32; ++bit) {
        if ((channelMask >> bit & 1) == 0) continue;
        names.push_back(bit < kSpeakers.size() ? kSpeakers[bit].name : "speaker " + std::to_string(bit + 1));
    }
    return names;
}

std::vector<std::string> ChannelNames(const XAudioWFX& format) {
    const int channels = format.Channels();
    if (channels == 1) return {"mono"};
    auto speakers = SpeakerNames(ChannelMaskOf(format));
    if (static_cast<int>(speakers.size()) == channels) return speakers;
    if (channels == 2) return {"left", "right"};
    std::vector<std::string> names;
    for (int i = 1; i <= channels; ++i) names.push_back("channel " + std::to_string(i));
    return names;
}

uint32_t ChannelMaskFromMap(std::span<const int> map) {
    uint32_t mask = 0;
    for (const int channel : map) {
        const uint32_t bit = BitOf(channel);
        if (bit == 0 || (mask & bit) != 0) return 0;
        mask |= bit;
    }
    return mask;
}

std::vector<size_t> WaveOrder(std::span<const int> map) {
    if (ChannelMaskFromMap(map) == 0 || std::ranges::is_sorted(map, {}, BitOf)) return {};
    std::vector<size_t> order(map.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::sort(order, {}, [&](size_t at) { return BitOf(map[at]); });
    return order;
}

std::vector<int> ChannelMapFromMask(uint32_t mask, int channels) {
    constexpr uint32_t known = (1u << kSpeakers.size()) - 1;
    if ((mask & ~known) != 0 || std::popcount(mask) != channels) return {};
    std::vector<int> map;
    for (size_t bit = 0; bit < kSpeakers.size(); ++bit) {
        if (mask >> bit & 1) map.push_back(kSpeakers[bit].channel);
    }
    return map;
}

std::vector<int> VorbisMap(int channels) {
    constexpr int kLeft = SF_CHANNEL_MAP_LEFT, kRight = SF_CHANNEL_MAP_RIGHT;
    constexpr int kCenter = SF_CHANNEL_MAP_CENTER, kLow = SF_CHANNEL_MAP_LFE;
    constexpr int kRearLeft = SF_CHANNEL_MAP_REAR_LEFT, kRearRight = SF_CHANNEL_MAP_REAR_RIGHT;
    constexpr int kSideLeft = SF_CHANNEL_MAP_SIDE_LEFT, kSideRight = SF_CHANNEL_MAP_SIDE_RIGHT;
    constexpr int kRear = SF_CHANNEL_MAP_REAR_CENTER;
    switch (channels) {
    case 3:
        return {kLeft, kCenter, kRight};
    case 4:
        return {kLeft, kRight, kRearLeft, kRearRight};
    case 5:
        return {kLeft, kCenter, kRight, kRearLeft, kRearRight};
    case 6:
        return {kLeft, kCenter, kRight, kRearLeft, kRearRight, kLow};
    case 7:
        return {kLeft, kCenter, kRight, kSideLeft, kSideRight, kRear, kLow};
    case 8:
        return {kLeft, kCenter, kRight, kSideLeft, kSideRight, kRearLeft, kRearRight, kLow};
    default:
        return {};
    }
}

}  // namespace w64
