#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace w64 {

// WAVE names the speakers of a stream by the set bits of a mask, in the order of the bits; libsndfile by a
// list, in the order of the channels.

// 0 when a mask cannot say it, as it implies an order.
uint32_t ChannelMaskFromMap(std::span<const int> map);

// Empty when the mask does not name as many speakers as there are channels.
std::vector<int> ChannelMapFromMask(uint32_t mask, int channels);

}  // namespace w64
