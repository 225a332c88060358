#include "host/terminal/FormatText.h"

#include "base/LittleEndian.h"
#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace w64 {

namespace {

std::string ChannelsInWords(int channels) {
    if (channels == 1) return "mono";
    if (channels == 2) return "stereo";
    return std::to_string(channels) + " channels";
}

std::string BitsInWords(const XAudioWFX& format) {
    const int bits = format.BitsPerSample();
    const int valid = format.IsExtensible() ? format.wfxex()->wValidBitsPerSample : bits;
    if (valid == bits || valid == 0) return std::to_string(bits) + "-bit";
    return std::to_string(valid) + "-bit in " + std::to_string(bits);
}

template <class... Values>
std::string Print(const char* pattern, Values... values) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

std::string GUIDText(const GUID& guid) {
    const auto* bytes = guid.bytes.data();
    std::string text = Print("%08X-%04X-%04X-", base::Load<uint32_t>(bytes), base::Load<uint16_t>(bytes + 4),
                             base::Load<uint16_t>(bytes + 6));
    for (size_t i = 8; i < 16; ++i) text += Print(i == 10 ? "-%02X" : "%02X", bytes[i]);
    return text;
}

bool HasFourCharacters(const GUID& guid) {
    const std::string name = RIFFChnkGUID2CHR(guid);
    const bool printable = std::ranges::all_of(name, [](unsigned char c) { return std::isprint(c) != 0; });
    return printable && CompareGUID(guid, RIFFChnkID(name));
}

}  // namespace

std::string DescribeFormat(const XAudioWFX& format) {
    const int tag = format.WFXFormatTag();
    std::string text = NameOfTag(tag);
    if (IsLinear(tag)) text += ", " + BitsInWords(format);
    return text + ", " + ChannelsInWords(format.Channels()) + ", " + std::to_string(format.SamplesPerSec()) +
           " Hz";
}

std::string NameOfTag(int formatTag) {
    switch (formatTag) {
    case kTagPCM:
        return "PCM";
    case kTagADPCM:
        return "Microsoft ADPCM";
    case kTagFloat:
        return "float";
    case kTagALaw:
        return "A-law";
    case kTagMuLaw:
        return "mu-law";
    case kTagMPEG:
        return "MPEG Layer 1 or 2";
    case kTagMPEGLayer3:
        return "MPEG Layer 3";
    default:
        return "format tag " + std::to_string(formatTag);
    }
}

uint32_t ChannelMaskOf(const XAudioWFX& format) {
    return format.IsExtensible() ? format.wfxex()->dwChannelMask : 0;
}

std::string ChunkName(const GUID& guid) {
    if (HasFourCharacters(guid)) return RIFFChnkGUID2CHR(guid);
    return CompareGUID(guid, kSummaryListCode) ? "summary list" : GUIDText(guid);
}

bool HasName(const GUID& guid) { return HasFourCharacters(guid) || CompareGUID(guid, kSummaryListCode); }

std::string FormatDuration(int64_t milliseconds) {
    const int64_t seconds = milliseconds / 1000;
    return Print("%lld:%02d:%02d.%03d", static_cast<long long>(seconds / 3600),
                 static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60),
                 static_cast<int>(milliseconds % 1000));
}

std::string FormatMinutes(double seconds) {
    const auto whole = static_cast<long long>(std::min(std::ceil(seconds), 1e9));
    return whole < 3600 ? Print("%lld:%02lld", whole / 60, whole % 60)
                        : Print("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string FormatSpeed(double timesRealtime) {
    return Print(timesRealtime < 10 ? "%.1fx realtime" : "%.0fx realtime", timesRealtime);
}

std::string GroupedDigits(std::string digits) {
    for (auto at = static_cast<int64_t>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<size_t>(at), 1, ',');
    return digits;
}

std::string Joined(const std::vector<std::string>& texts, std::string_view separator) {
    std::string joined;
    for (const std::string& text : texts) joined += (joined.empty() ? "" : std::string(separator)) + text;
    return joined;
}

}  // namespace w64
