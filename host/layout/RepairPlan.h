#pragma once

#include "base/XFile.h"
#include "host/files/RangeEdit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// How a damaged recording becomes a sound file: an edit of a few bytes, whatever its length.
struct RepairPlan {
    RangeEdit edit;  // changes nothing in a sound file
    std::vector<std::string>
        mended;  // what LayoutCheck says of the file and will not say of the repaired one
    std::vector<std::string> losses;  // in sentences
    std::string summary;              // LayoutCheck's, of the repaired file
    std::optional<int64_t> frames;    // nothing for compressed formats
    int64_t milliseconds = 0;
};

// The audio is what FindAudio finds, in whole frames. The chunks around it stay; of one that is cut off, what is there.
// The plan is tried on the file in memory, without most of its audio.
// Errors: Failure for a file that cannot be made sound, or that would lose bytes that may be of value.
RepairPlan PlanRepair(XFile& file);

}  // namespace w64
