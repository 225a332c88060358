#pragma once

#include "audio/format/XAudioWFX.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// WAVE names the speakers of a stream by the set bits of a channel mask, in the order of the bits; libsndfile by
// a list, in the order of the channels.

// "front left", "low frequency" ... in the order of the channels.
std::vector<std::string> SpeakerNames(uint32_t channelMask);

// What to call each channel: "mono", by its speaker, or "channel 3" where no mask names exactly one for each.
std::vector<std::string> ChannelNames(const XAudioWFX& format);

// 0 when no mask can say it, because the channels are in another order.
uint32_t ChannelMaskFromMap(std::span<const int> map);

// Empty unless the mask names exactly one known speaker per channel.
std::vector<int> ChannelMapFromMask(uint32_t mask, int channels);

}  // namespace w64
