#pragma once

#include "audio/format/XAudioWFX.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// WAVE names the speakers of a stream by the set bits of a channel mask, in the order of the bits; libsndfile by a list,
// the map, in the order of the channels.

// "front left", "low frequency" ... in the order of the channels.
std::vector<std::string> SpeakerNames(uint32_t channelMask);

// What to call each channel: "mono", by its speaker, or "channel 3" where no mask names exactly one for each.
std::vector<std::string> ChannelNames(const XAudioWFX& format);

// 0 unless the map names a different known speaker for each channel, in any order.
uint32_t ChannelMaskFromMap(std::span<const int> map);

// For each channel in the order of the mask's bits, its place in the map. Empty if the map is in that order, or has no
// mask.
std::vector<size_t> WaveOrder(std::span<const int> map);

// Empty unless the mask names exactly one known speaker per channel.
std::vector<int> ChannelMapFromMask(uint32_t mask, int channels);

// The map that Vorbis and Opus fix for more than two channels; else empty. https://xiph.org/vorbis/doc/Vorbis_I_spec.html
// (4.3.9), RFC 7845 (5.1.1.2)
std::vector<int> VorbisMap(int channels);

// Makes channel i of every interleaved frame what was channel order[i]. Leaves the frames alone where `order` is empty.
template <class Sample>
void ReorderChannels(std::span<Sample> samples, std::span<const size_t> order) {
    if (order.empty()) return;
    std::vector<Sample> frame(order.size());
    for (; samples.size() >= order.size(); samples = samples.subspan(order.size())) {
        for (size_t i = 0; i < order.size(); ++i) frame[i] = samples[order[i]];
        std::ranges::copy(frame, samples.begin());
    }
}

}  // namespace w64
