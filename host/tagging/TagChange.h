#pragma once

#include "base/XFile.h"
#include "tags/LISTText.h"
#include "tags/NTag.h"

#include <optional>
#include <string>
#include <vector>

namespace w64 {

// A requested change to the tags of a file.
struct TagChange {
    NTag set;                  // an empty value removes
    std::vector<XStr> remove;  // by name, when nothing is set
    bool removeAll = false;
    bool moveList = false;              // a list after the audio goes before it
    std::optional<LISTText> text = {};  // a list of another form is rewritten in this one
    bool dropUnwritable = false;        // tags that cannot be rewritten may be lost

    // The text tags of `before` with the change applied, as they should read after the edit.
    NTag Expected(const NTag& before) const;
};

// Descriptions of the entries that any edit of the list loses because they cannot be rewritten.
std::vector<std::string> UnwritableEntries(XFile& file, int albumOption);

// Descriptions of how the text tags of `found` differ from `expected`.
std::vector<std::string> DifferencesOfTags(const NTag& expected, const NTag& found);

}  // namespace w64
