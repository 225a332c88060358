#pragma once

#include "base/GUID.h"

#include <cstdint>

namespace w64 {

// The WAVE format record as stored in files (Microsoft, mmreg.h), little-endian and packed.

#pragma pack(push, 1)

struct WAVEFORMAT {  // 14 bytes: the oldest form
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;  // frames per second
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;  // bytes per frame, or per coded block of compressed audio
};

struct tWAVEFORMATEX {  // 18 bytes, followed by cbSize extra bytes
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;  // of a sample's container
    uint16_t cbSize;
};

struct WAVEFORMATEXTENSIBLE {  // 40 bytes; cbSize is at least 22
    tWAVEFORMATEX Format;
    uint16_t wValidBitsPerSample;
    uint32_t dwChannelMask;
    GUID SubFormat;
};

#pragma pack(pop)

static_assert(sizeof(WAVEFORMAT) == 14 && sizeof(tWAVEFORMATEX) == 18 && sizeof(WAVEFORMATEXTENSIBLE) == 40);

constexpr uint16_t kTagPCM = 1;
constexpr uint16_t kTagADPCM = 2;
constexpr uint16_t kTagFloat = 3;
constexpr uint16_t kTagALaw = 6;
constexpr uint16_t kTagMuLaw = 7;
constexpr uint16_t kTagMPEG = 80;  // layer 1 or 2
constexpr uint16_t kTagMPEGLayer3 = 85;
constexpr uint16_t kTagExtensible = 0xFFFE;

// Plain samples, not coded.
constexpr bool IsLinear(int tag) { return tag == kTagPCM || tag == kTagFloat; }

// The published sub-format GUID of a format tag.
constexpr GUID SubFormatOfTag(uint16_t tag) { return MakeGUID(tag, 0x0000, 0x0010, 0x800000AA00389B71); }

inline constexpr GUID KSDATAFORMAT_SUBTYPE_PCM = SubFormatOfTag(kTagPCM);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_IEEE_FLOAT = SubFormatOfTag(kTagFloat);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_ALAW = SubFormatOfTag(kTagALaw);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_MULAW = SubFormatOfTag(kTagMuLaw);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_ADPCM = SubFormatOfTag(kTagADPCM);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_MPEG = SubFormatOfTag(kTagMPEG);

}  // namespace w64
