#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// The data of a chunk "bext": who recorded what, when, and where on a time line (EBU Tech 3285, version 2). Texts are
// without the zeros that fill their fields.
struct BroadcastExtension {
    static constexpr size_t kMinBytes = 602;  // without the coding history
    static constexpr size_t kTimeReferenceAt = 338;
    static constexpr int16_t kNoLoudness = 0x7FFF;

    // Nothing if there are fewer bytes than the fields take.
    static std::optional<BroadcastExtension> Parse(std::span<const uint8_t> chunk);

    std::vector<uint8_t> ToBytes() const;

    std::string description;          // up to 256 bytes
    std::string originator;           // up to 32
    std::string originatorReference;  // up to 32
    std::string originationDate;      // "2026-11-22"
    std::string originationTime;      // "10:30:00"
    uint64_t timeReference = 0;       // of the first frame, in frames since midnight
    uint16_t version = 1;
    std::array<uint8_t, 64> umid{};     // since version 1
    std::array<int16_t, 5> loudness{};  // since version 2, in hundredths: LUFS, LU, dBTP, LUFS, LUFS
    std::array<uint8_t, 180> reserved{};
    std::string codingHistory;
};

}  // namespace w64
