#pragma once

#include "audio/format/XAudioWFX.h"

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// Facts about audio in words.

// "PCM, 24-bit, stereo, 48000 Hz"
std::string DescribeFormat(const XAudioWFX& format);

// Only the kind of samples: "PCM", "float", "MPEG Layer 3".
std::string NameOfTag(int formatTag);

// The speaker mask of an extensible record, else 0.
uint32_t ChannelMaskOf(const XAudioWFX& format);

// The name of a chunk: the four characters its GUID stands for, or the GUID itself.
std::string ChunkName(const GUID& guid);
bool HasName(const GUID& guid);  // something shorter than the GUID

// "a, b, c"
std::string Joined(const std::vector<std::string>& texts, std::string_view separator);

std::string FormatDuration(int64_t milliseconds);  // "1:02:03.456"
std::string FormatMinutes(double seconds);         // "2:03", for estimates
std::string FormatSpeed(double timesRealtime);     // "812x realtime"
std::string GroupedDigits(std::string digits);     // "1,234,567"
std::string Grouped(std::integral auto number) { return GroupedDigits(std::to_string(number)); }

// "1 byte", "1,234 bytes"
std::string Counted(std::integral auto number, std::string_view noun) {
    return Grouped(number) + " " + std::string(noun) + (number == 1 ? "" : "s");
}

}  // namespace w64
