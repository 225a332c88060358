#include "plugin/TagOptions.h"

#include <span>

namespace w64 {

namespace {

// `list` at `index`, null outside it.
template <class T>
const T* At(std::span<const T> list, int index) {
    return index >= 0 && static_cast<size_t>(index) < list.size() ? &list[static_cast<size_t>(index)]
                                                                  : nullptr;
}

}  // namespace

const wchar_t* TagOption::DisplayText(int setting) const {
    const auto* text = At<const wchar_t*>(Settings, setting);
    return text ? *text : L"";
}

const TagOption* FindTagOption(int index) {
    static const std::vector<TagOption> options = {
        {L"Tag Creation", L"Tagging\\Wave64TagDefault", {L"(default)", L"LIST", L"(none)"}},
        {L"LIST Chunk Position",
         L"Tagging\\Wave64LISTPos",
         {L"[data]  [LIST]", L"[LIST]  [optional padding]  [data]"}},
        {L"LIST Album Tag", L"Tagging\\Wave64LISTAlbum", {L"IPRD", L"ISRC"}},
        {L"LIST Track Tag", L"Tagging\\Wave64LISTTrack", {L"itrk", L"TRCK"}},
        {L"LIST Padding Type", L"Tagging\\Wave64LISTPadding", {L"'JUNK' Chunk", L"'PAD ' Chunk", L"(none)"}},
        // 2 KB is the default, so it comes first.
        {L"LIST Padding Size",
         L"Tagging\\Wave64LISTPaddingSize",
         {L"2 KB", L"1 KB", L"4 KB", L"8 KB", L"16 KB"}},
    };
    return At<TagOption>(options, index);
}

}  // namespace w64
