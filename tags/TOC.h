#pragma once

#include <cstdint>

namespace w64 {

// One entry of a table of contents.
struct TOCTrack {
    static constexpr uint8_t kDataTrack = 4;  // a bit of the control nibble
    static constexpr uint8_t kLeadOut = 170;

    uint8_t Reserved1;
    uint8_t ControlAndAdr;  // control in the low 4 bits, ADR in the high 4
    uint8_t TrackNumber;    // 1 to 99, or kLeadOut
    uint8_t Reserved2;
    uint8_t Address[4];  // LBA of the start, big-endian
};

// A CD's table of contents as READ TOC (format 0) returns it. It may come from a stored tag, so none of its
// fields can be trusted.
struct TOC {
    static constexpr int kTracks = 100;

    uint16_t Length;  // of the rest in bytes, 2 plus 8 for each entry; big-endian
    uint8_t FirstTrack;
    uint8_t LastTrack;
    TOCTrack Tracks[kTracks];
};

static_assert(sizeof(TOC) == 804, "the record is exchanged as bytes");

}  // namespace w64
