#pragma once

#include <vector>

namespace w64 {

// An option of the tag writer. The host stores the user's setting under the key; 0 is the default.
struct TagOption {
    const wchar_t* Title;
    const wchar_t* SettingsKey;
    std::vector<const wchar_t*> Settings;  // display texts, indexed by value

    const wchar_t* DisplayText(int setting) const;  // empty for an invalid value
};

const TagOption* FindTagOption(int index);  // null outside the list

}  // namespace w64
