#pragma once

namespace w64 {

// How a file is edited. The exact rules, the default, match the edits of files in circulation byte for byte, and
// damage some files. The safe rules count every byte of a chunk and refuse an edit that they cannot do right.
struct EditRules {
    bool safe = false;
};

}  // namespace w64
