#pragma once

#include "base/XMem.h"
#include "base/XStr.h"
#include "interface/w64_decoder.h"
#include "tags/LISTText.h"
#include "tags/NTag.h"

#include <string>
#include <vector>

namespace w64 {

// The data of a summary-list chunk: a 32-bit count of entries, each a four-character INFO identifier, a
// 32-bit size in bytes and that many bytes of text, without padding anywhere.
class clRIFFSUMMARYLISTChunk {
public:
    // Replaces `tags` by the entries; true if there is at least one. `text` is the form of new lists. If it is
    // Half, every entry is read in that form. Otherwise the form is detected from the bytes, and `text` is set to
    // the form of this list if they tell. A list of half values counts as Wide, as its readers expect 32-bit
    // characters. Detected values are in 16-bit units as in a packed block: a character past 0xFFFF is a pair
    // of surrogates, even in a Wide list.
    static bool InitFrom(const void* data, unsigned int size, NTag& tags, const STNStdReport& report,
                         int albumOption, LISTText& text);

    // True if every entry ends within the data; otherwise InitFrom stops with an error.
    static bool IsWhole(const void* data, unsigned int size);

    // Describes data that InitFrom skips and a rewritten list would lose: entries with unknown identifiers, bytes
    // after the zero that ends a value, and after the last entry. Zeros do not count.
    static std::vector<XStr> HiddenParts(const void* data, unsigned int size, int albumOption);

    // Replaces `out` by a list of all tags that have an identifier and a value; empty if there are none. False
    // only when out of memory.
    static bool TagsToLIST(XMem& out, const NTag& tags, const STNStdReport& report, int albumOption,
                           int trackOption, LISTText text);

    // True if a tag of that name can be stored.
    static bool HasIdentifier(const XStr& name);

    // The name of a four-character identifier, as its default is; null if it is unknown.
    static const wchar_t* NameOfIdentifier(const XStr& code);

    // The reverse, "INAM" for "Title"; empty for a name that cannot be stored.
    static std::string Identifier(const XStr& name);

    // All names that can be stored.
    static std::vector<const wchar_t*> Names();
};

}  // namespace w64
