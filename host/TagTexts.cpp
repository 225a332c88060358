#include "host/TagTexts.h"

#include "host/Failure.h"

#include <cstdio>

std::string ToPrintable(std::wstring_view units) { return ToUTF8(JoinUnits(units)); }

XStr ToTagText(const std::string& text) {
    XStr units = FromUTF8(text);
    if (ToUTF8(units) != text) throw UsageError("'" + text + "' is no UTF-8 text");
    for (const wchar_t c : units) {
        if (c <= 0xFFFF) continue;
        char number[16];
        std::snprintf(number, sizeof number, "U+%X", static_cast<unsigned>(c));
        throw UsageError("'" + ToUTF8({&c, 1}) + "' (" + number +
                         ") cannot be stored, tags take characters of up to 16 bits");
    }
    return units;
}
