#pragma once

#include "audio/format/WaveFormat.h"

namespace w64 {

// The WAVE format records of MPEG audio as files store them (Microsoft, mmreg.h), little-endian and tightly
// packed.

#pragma pack(push, 1)

struct MPEGLAYER3WAVEFORMAT {
    tWAVEFORMATEX wfx;
    uint16_t wID;
    uint32_t fdwFlags;         // how MPEG frames are padded
    uint16_t nBlockSize;       // bytes of a block of MPEG frames, padding aside
    uint16_t nFramesPerBlock;  // MPEG frames
    uint16_t nCodecDelay;      // samples that the encoder put in front; 0 where it is unknown
};

struct MPEG1WAVEFORMAT {
    tWAVEFORMATEX wfx;
    uint16_t fwHeadLayer;    // a bit for each layer
    uint32_t dwHeadBitrate;  // bits per second; 0 where it varies
    uint16_t fwHeadMode;     // a bit for each mode in the order of the header's codes
    uint16_t fwHeadModeExt;  // the same for the mode extension, of joint stereo only
    uint16_t wHeadEmphasis;  // the header's code plus 1
    uint16_t fwHeadFlags;    // kMPEG... below
    uint32_t dwPTSLow;       // time stamp of the first MPEG frame
    uint32_t dwPTSHigh;
};

#pragma pack(pop)

static_assert(sizeof(MPEGLAYER3WAVEFORMAT) == 30 && sizeof(MPEG1WAVEFORMAT) == 40);

constexpr uint16_t kMPEGLayer3ID = 1;
constexpr uint32_t kMPEGPaddingISO = 0;  // as needed to keep the bit rate

constexpr uint16_t kMPEGPrivateBit = 1;
constexpr uint16_t kMPEGCopyright = 2;
constexpr uint16_t kMPEGOriginal = 4;
constexpr uint16_t kMPEGProtectionBit = 8;  // set where MPEG frames have no checksum
constexpr uint16_t kMPEGIsMPEG1 = 16;

}  // namespace w64
