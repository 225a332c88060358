#pragma once

#include "host/files/TempFile.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace w64 {

// What a damaged file still holds, and a file that the decoder can read it from.
struct Salvage {
    // The damaged file itself, or, if its headers hide the audio, `repaired`, a copy with correct headers.
    std::filesystem::path source;
    std::unique_ptr<TempFile> repaired;

    int64_t frames = 0;     // complete ones in the file
    bool isToStop = false;  // decoding must stop after them, as the decoder would go on
    int64_t milliseconds = 0;
    int64_t lostBytes = 0;  // announced by the file and not decoded
};

// Trusts the sizes in the file only up to its real length. A repaired copy is made in `copyFolder` if needed.
// Nothing if no audio chunk or format is found.
// Errors: Failure if the copy cannot be made.
std::optional<Salvage> PlanSalvage(const std::filesystem::path& path,
                                   const std::filesystem::path& copyFolder);

// The length of the audio in the file, whatever its sizes say; nothing if there is none or its format is unknown.
std::optional<int64_t> MillisecondsOfAudio(const std::filesystem::path& path);

// Whether the file's own sizes hide audio that is there.
bool HidesAudio(const std::filesystem::path& path);

}  // namespace w64
