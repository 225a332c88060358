#pragma once

#include "base/XObj.h"
#include "base/XStr.h"

#include <cstddef>

namespace w64 {

// An ordered list of texts.
class XStrList : public XObj<XStr> {
public:
    // Texts that each end in `separator`; an empty one ends the list. Reads at most `limit` characters; a text
    // that crosses the limit is cut there.
    void SetFromPackedCharArray(const wchar_t* texts, wchar_t separator, size_t limit);
};

}  // namespace w64
