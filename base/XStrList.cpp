#include "base/XStrList.h"

namespace w64 {

void XStrList::SetFromPackedCharArray(const wchar_t* texts, wchar_t separator, size_t limit) {
    Clear();
    for (size_t begin = 0, i = 0; i < limit; ++i) {
        if (texts[i] != separator) {
            if (i + 1 == limit) Append(XStr(texts + begin, texts + limit));
            continue;
        }
        if (i == begin) return;
        Append(XStr(texts + begin, texts + i));
        begin = i + 1;
    }
}

}  // namespace w64
