#include "tags/NTag.h"

#include <array>

namespace w64 {

namespace {

constexpr std::wstring_view kPrefix = L"_albumart_";
constexpr std::wstring_view kSubDescription = L"<subdesc>";

// Indexed by picture type; empty for types without a name. Type 17 has none on purpose.
constexpr auto kPictureTypes = std::to_array<std::wstring_view>({
    L"",
    L"32x32 Icon",
    L"Other Icon",
    L"Front Album Cover",
    L"Back Album Cover",
    L"Leaflet Page",
    L"Media",
    L"Lead Artist",
    L"Artist",
    L"Conductor",
    L"Band",
    L"Composer",
    L"Writer",
    L"Recording Location",
    L"During Recording",
    L"During Performance",
    L"Video Capture",
    L"",
    L"Illustration",
    L"Artist Logo",
    L"Publisher Logo",
});
constexpr int kFrontCover = 3;

}  // namespace

XStr NTag::AlbumArtAPICPicTypeToElementDescription(int type) {
    if (type < 0 || type >= static_cast<int>(kPictureTypes.size())) return {};
    const std::wstring_view description = kPictureTypes[static_cast<size_t>(type)];
    return description.empty() ? XStr() : XStr(L"_").append(description);
}

int NTag::AlbumArtDescriptionToAPICPicType(const wchar_t* description) {
    const std::wstring_view wanted(description);
    for (size_t type = 0; type < kPictureTypes.size() && !wanted.empty(); ++type) {
        if (EqualNoCase(kPictureTypes[type], wanted)) return static_cast<int>(type);
    }
    return kFrontCover;
}

void NTag::SpiltAlbumArtDesctiptionLine(const wchar_t* name, XStr& description, XStr& subDescription) {
    const XStr whole(name);  // a copy, as `name` may point into an output
    description.clear();
    subDescription.clear();
    const size_t separator = whole.find(L'_', kPrefix.size());
    if (separator == XStr::npos) return;

    description = whole.substr(separator + 1);
    const size_t mark = description.find(kSubDescription);
    if (mark == XStr::npos) return;
    subDescription = description.substr(mark + kSubDescription.size());
    description.resize(mark);
}

STInternalTag* NTag::GetAlbumArt(int index, XStr& description, XStr& subDescription) {
    description.clear();
    subDescription.clear();
    const XStr prefix = XStr(kPrefix) + Int2Str(index);  // index 1 finds "_albumart_12_" too, on purpose
    for (STInternalTag& tag : tags_) {
        if (!BeginsWithNoCase(tag.Name, prefix)) continue;
        SpiltAlbumArtDesctiptionLine(tag.Name.c_str(), description, subDescription);
        return &tag;
    }
    return nullptr;
}

}  // namespace w64
