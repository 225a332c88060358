#include "host/tagging/TagTexts.h"

#include "host/terminal/Failure.h"

namespace w64 {

bool IsRawChunk(const STInternalTag& tag) { return BeginsWithNoCase(tag.Name, L"_riff_"); }

std::string ToPrintable(std::wstring_view units) { return ToUTF8(JoinUnits(units)); }

XStr ToTagText(const std::string& text) {
    const XStr characters = FromUTF8(text);
    if (ToUTF8(characters) != text) throw UsageError("'" + text + "' is not UTF-8 text");
    return SplitIntoUnits(characters);
}

}  // namespace w64
