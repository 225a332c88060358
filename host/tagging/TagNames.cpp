#include "host/tagging/TagNames.h"

#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <cwctype>

namespace w64 {

namespace {

// Programs differ in capitals, and in what separates words.
XStr Simplified(XStr name) {
    std::erase_if(name, [](wchar_t c) { return c == L' ' || c == L'_' || c == L'-'; });
    return FoldCase(name);
}

XStr InCapitals(XStr name) {
    std::ranges::transform(name, name.begin(),
                           [](wchar_t c) { return static_cast<wchar_t>(std::towupper(c)); });
    return name;
}

}  // namespace

XStr StoredName(const XStr& name) {
    const XStr simple = Simplified(name);
    if (simple == L"date") return L"Year";
    if (simple == L"tracknumber") return L"Track";
    for (const wchar_t* stored : clRIFFSUMMARYLISTChunk::Names()) {
        if (Simplified(stored) == simple) return stored;
    }
    const wchar_t* identified = clRIFFSUMMARYLISTChunk::NameOfIdentifier(InCapitals(name));
    return EqualNoCase(name, L"ITRK") ? L"Track" : identified ? identified : L"";
}

std::vector<std::string> StoredNames() {
    std::vector<std::string> names;
    for (const wchar_t* name : clRIFFSUMMARYLISTChunk::Names()) names.push_back(ToUTF8(name));
    std::ranges::sort(names);
    return names;
}

std::string TagNamesInColumns() {
    constexpr size_t kColumns = 3;
    const std::vector<std::string> names = StoredNames();
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
