#pragma once

#include "base/XObj.h"
#include "base/XStr.h"

#include <cstddef>

namespace w64 {

// An ordered list of texts.
class XStrList : public XObj<XStr> {
public:
    // Texts that each end in `separator`; an empty one ends the list. At most `limit` characters are looked
    // at, and a text that the limit cuts is taken as far as it goes.
    void SetFromPackedCharArray(const wchar_t* texts, wchar_t separator, size_t limit);
};

}  // namespace w64
