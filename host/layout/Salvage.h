#pragma once

#include "host/files/TempFile.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace w64 {

// What a damaged file still holds, and a file from which the decoder can read it.
struct Salvage {
    // The damaged file itself, or `repaired`, a copy whose headers are right, when its own hide the audio.
    std::filesystem::path source;
    std::unique_ptr<TempFile> repaired;

    int64_t frames = 0;     // whole ones that are there
    bool isToStop = false;  // after them, where the decoder would go on
    int64_t milliseconds = 0;
    int64_t lostBytes = 0;  // announced by the file and not decoded
};

// Looks through the file without believing its sizes further than its length. A copy, where needed, is made
// in `copyFolder`. Nothing when there is no audio chunk or format to be found.
// Errors: Failure when the copy cannot be made.
std::optional<Salvage> PlanSalvage(const std::filesystem::path& path,
                                   const std::filesystem::path& copyFolder);

// Whether the file's own sizes hide audio that is there.
bool HidesAudio(const std::filesystem::path& path);

}  // namespace w64
