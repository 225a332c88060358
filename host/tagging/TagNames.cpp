#include "host/tagging/TagNames.h"

#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <cwctype>
#include <span>

namespace w64 {

namespace {

struct NamePair {
    const wchar_t* stored;
    const wchar_t* foreign;
};

// The first row of a tag is the one that is written; without one its name is that of the list. ID3 has a frame for
// "URL", but with Latin-1 alone.
constexpr NamePair kCommonNames[] = {
    {L"Track", L"TRACKNUMBER"},  {L"Year", L"DATE"},           {L"Encoded By", L"ENCODEDBY"},
    {L"Encoded By", L"ENCODER"}, {L"Encoded By", L"SOFTWARE"}, {L"Medium", L"MEDIA"},
    {L"Medium", L"SOURCEMEDIA"}, {L"Comment", L"COMMENT"},     {L"Comment", L"DESCRIPTION"},
    {L"Label", L"LABEL"},        {L"Label", L"ORGANIZATION"},  {L"Label", L"PUBLISHER"},
    {L"URL", L"WEBSITE"}};

// Likewise, as Apple's description of the format has them.
constexpr NamePair kCAFNames[] = {{L"Track", L"track number"},
                                  {L"Comment", L"comments"},
                                  {L"Encoded By", L"encoding application"},
                                  {L"Year", L"year"},
                                  {L"Year", L"recorded date"}};

// Likewise. Most programs write the track in capitals.
constexpr NamePair kINFONames[] = {{L"Track", L"ITRK"}, {L"Track", L"IPRT"}};

// Programs differ in capitals, and in what separates words.
XStr Simplified(XStr name) {
    std::erase_if(name, [](wchar_t c) { return c == L' ' || c == L'_' || c == L'-'; });
    return FoldCase(name);
}

XStr InCapitals(XStr name) {
    std::ranges::transform(name, name.begin(), [](wchar_t c) {
        return static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
    });
    return name;
}

const wchar_t* ForeignName(std::span<const NamePair> names, const XStr& stored) {
    const auto found =
        std::ranges::find_if(names, [&](const NamePair& pair) { return EqualNoCase(pair.stored, stored); });
    return found == names.end() ? nullptr : found->foreign;
}

}  // namespace

XStr StoredName(const XStr& name) {
    const XStr simple = Simplified(name);
    for (const wchar_t* stored : clRIFFSUMMARYLISTChunk::Names()) {
        if (Simplified(stored) == simple) return stored;
    }
    for (const std::span<const NamePair> names :
         {std::span<const NamePair>(kCommonNames), std::span<const NamePair>(kCAFNames),
          std::span<const NamePair>(kINFONames)}) {
        const auto found = std::ranges::find_if(
            names, [&](const NamePair& pair) { return Simplified(pair.foreign) == simple; });
        if (found != names.end()) return found->stored;
    }
    const wchar_t* identified = clRIFFSUMMARYLISTChunk::NameOfIdentifier(InCapitals(name));
    return identified ? identified : L"";
}

std::string CommonName(const XStr& stored) {
    const wchar_t* name = ForeignName(kCommonNames, stored);
    return ToUTF8(name ? name : InCapitals(stored));
}

std::string CAFName(const XStr& stored) {
    const wchar_t* name = ForeignName(kCAFNames, stored);
    return ToUTF8(name ? name : FoldCase(stored));
}

std::string INFOName(const XStr& stored) {
    const wchar_t* name = ForeignName(kINFONames, stored);
    return name ? ToUTF8(name) : clRIFFSUMMARYLISTChunk::Identifier(stored);
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
