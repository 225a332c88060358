#pragma once

namespace w64 {

// What an edit of a file goes by. The defaults, the exact rules, do what files in circulation have seen, to their
// harm at times; the safe rules count every byte that a chunk takes up and refuse what they cannot do right.
struct EditRules {
    bool safe = false;
};

}  // namespace w64
