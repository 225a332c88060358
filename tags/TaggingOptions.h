#pragma once

#include "tags/LISTText.h"
#include "wave64/container/EditRules.h"

#include <cstdint>

namespace w64 {

// The user's choices for tags. Every one is 0 until it is set.
struct TaggingOptions {
    // Where the settings store keeps them, under the current user.
    static constexpr const wchar_t* KeyPath = L"Software\\Quillomere\\Korvastune\\Tagging";
    static constexpr const wchar_t* SafeEditName = L"Wave64SafeEdit";
    static constexpr const wchar_t* LISTTextName = L"Wave64LISTText";

    // As they are set at this moment, all from one reading of the settings.
    static TaggingOptions Read();

    // False where the settings are there but cannot be read, or not to their end: what was chosen is not known,
    // and nothing is to be edited.
    bool usable = true;

    bool createsLists = true;      // a file without a summary list gets one
    bool listBeforeAudio = false;  // a new one; else it goes to the end
    int albumOption = 0;           // identifiers, as the codec has them
    int trackOption = 0;
    int paddingMode = 0;             // as the chunk editor has it: 0 "JUNK", 1 "PAD ", 2 none
    int paddingSize = 0;             // bytes; 0 leaves it to the chunk editor
    LISTText text = LISTText::Half;  // of new lists
    EditRules rules;
};

}  // namespace w64
