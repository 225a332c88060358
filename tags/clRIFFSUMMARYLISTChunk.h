#pragma once

#include "base/XMem.h"
#include "base/XStr.h"
#include "interface/w64_decoder.h"
#include "tags/LISTText.h"
#include "tags/NTag.h"

#include <vector>

namespace w64 {

// The data of a summary-list chunk: a 32-bit count of entries, each a four-character INFO identifier, a
// 32-bit size in bytes and that many bytes of text, without padding anywhere.
class clRIFFSUMMARYLISTChunk {
public:
    // Replaces `tags` by the entries; true when there is at least one. `text` is the form of new lists: with
    // Half every entry is read as that; else an entry is read by its bytes, and `text` becomes the form of
    // this list where the bytes tell. A list of half values counts as Wide: whoever reads it reads 32-bit
    // characters, and whole values stay whole. Values are then in 16-bit units, as a packed block has them:
    // a character past 0xFFFF is a pair of surrogates, in a Wide list too.
    static bool InitFrom(const void* data, unsigned int size, NTag& tags, const STNStdReport& report,
                         int albumOption, LISTText& text);

    // Whether no entry reaches out of the data, as one does where InitFrom stops with an error.
    static bool IsWhole(const void* data, unsigned int size);

    // What InitFrom passes over and a rewritten list would lack, in words: what follows the zero that ends a
    // value, and what follows the last entry. Zeros do not count.
    static std::vector<XStr> HiddenParts(const void* data, unsigned int size, int albumOption);

    // Replaces `out` by the data for all tags that have an identifier and a value; empty when there are none.
    // False only when memory runs out.
    static bool TagsToLIST(XMem& out, const NTag& tags, const STNStdReport& report, int albumOption,
                           int trackOption, LISTText text);

    // Whether a tag of that name can be stored.
    static bool HasIdentifier(const XStr& name);

    // All of those names.
    static std::vector<const wchar_t*> Names();
};

}  // namespace w64
