#pragma once

#include "tags/LISTText.h"
#include "wave64/container/EditRules.h"

#include <cstdint>

namespace w64 {

// The user's tag settings. Unset settings are 0.
struct TaggingOptions {
    // Key and names in the settings, under the current user.
    static constexpr const wchar_t* KeyPath = L"Software\\Quillomere\\Korvastune\\Tagging";
    static constexpr const wchar_t* SafeEditName = L"Wave64SafeEdit";
    static constexpr const wchar_t* LISTTextName = L"Wave64LISTText";
    static constexpr const wchar_t* LISTPlaceName = L"Wave64LISTPos";

    // The current settings, all from one read of the file.
    static TaggingOptions Read();

    // False if the settings exist but cannot be fully read, or are none. The user's choices are then unknown, and no file may
    // be edited.
    bool usable = true;

    bool createsLists = true;      // add a summary list to a file without one
    bool listBeforeAudio = false;  // place of a new list; else at the end
    int albumOption = 0;           // choice of identifiers, see clRIFFSUMMARYLISTChunk
    int trackOption = 0;
    int paddingMode = 0;             // see clWave64Handler: 0 "JUNK", 1 "PAD ", 2 none
    int paddingSize = 0;             // bytes; 0 is the default of clWave64Handler
    LISTText text = LISTText::Half;  // of new lists
    EditRules rules;
};

}  // namespace w64
