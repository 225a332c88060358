#pragma once

#include "wave64/container/EditRules.h"

#include <cstdint>

// The user's choices for tags. Every one is 0 until it is set.
struct TaggingOptions {
    // Where the settings store keeps them, under the current user.
    static constexpr const wchar_t* KeyPath = L"Software\\Quillomere\\Korvastune\\Tagging";
    static constexpr const wchar_t* SafeEditName = L"Wave64SafeEdit";
    static constexpr const wchar_t* LISTTextName = L"Wave64LISTText";

    // As they are set at this moment.
    static TaggingOptions Read();

    bool createsLists = true;      // a file without a summary list gets one
    bool listBeforeAudio = false;  // a new one; else it goes to the end
    int albumOption = 0;           // identifiers, as the codec has them
    int trackOption = 0;
    int paddingMode = 0;  // as the chunk editor has it: 0 "JUNK", 1 "PAD ", 2 none
    int paddingSize = 0;  // bytes; 0 leaves it to the chunk editor
    EditRules rules;
};
