#pragma once

#include "base/XFile.h"
#include "tags/NTag.h"

#include <string>
#include <vector>

namespace w64 {

// What somebody wants done to the tags of a file.
struct TagChange {
    NTag set;                  // an empty value removes
    std::vector<XStr> remove;  // by name, when nothing is set
    bool removeAll = false;
    bool dropUnwritable = false;  // tags that cannot be written again may go

    // The texts among `before` with the change made: what ought to be read afterwards.
    NTag Expected(const NTag& before) const;
};

// The tags that an edit of the list loses, as they cannot be written again, in words.
std::vector<std::string> UnwritableEntries(XFile& file);

// How the texts among `found` differ from `expected`, in words.
std::vector<std::string> DifferencesOfTags(const NTag& expected, const NTag& found);

}  // namespace w64
