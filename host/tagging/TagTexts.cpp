#include "host/tagging/TagTexts.h"

#include "host/terminal/Failure.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace w64 {

std::string ToPrintable(std::wstring_view units) { return ToUTF8(JoinUnits(units)); }

XStr ToTagText(const std::string& text) {
    XStr units = FromUTF8(text);
    if (ToUTF8(units) != text) throw UsageError("'" + text + "' is not UTF-8 text");
    for (const wchar_t c : units) {
        if (c <= 0xFFFF) continue;
        char number[16];
        std::snprintf(number, sizeof number, "U+%X", static_cast<unsigned>(c));
        throw UsageError("'" + ToUTF8({&c, 1}) + "' (" + number +
                         ") cannot be stored; tags take characters up to U+FFFF");
    }
    return units;
}

std::string TagNamesInColumns() {
    constexpr size_t kColumns = 3;
    std::vector<std::string> names;
    for (const wchar_t* name : clRIFFSUMMARYLISTChunk::Names()) names.push_back(ToUTF8(name));
    std::ranges::sort(names);
    const size_t width = std::ranges::max(names, {}, &std::string::size).size();
    const size_t lines = (names.size() + kColumns - 1) / kColumns;
    std::string text;
    for (size_t line = 0; line < lines; ++line) {
        for (size_t i = line; i < names.size(); i += lines) {
            const bool endsLine = i + lines >= names.size();
            text += "  " + names[i] + (endsLine ? "\n" : std::string(width - names[i].size(), ' '));
        }
    }
    return text;
}

}  // namespace w64
