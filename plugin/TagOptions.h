#pragma once

#include <vector>

namespace w64 {

// A choice that the tag writer offers. The host keeps the user's setting under the key, and 0 is the default.
struct TagOption {
    const wchar_t* Title;
    const wchar_t* SettingsKey;
    std::vector<const wchar_t*> Settings;  // display texts, by value

    const wchar_t* DisplayText(int setting) const;  // empty for a value that does not exist
};

const TagOption* FindTagOption(int index);  // null outside the list

}  // namespace w64
