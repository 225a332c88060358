#include "host/tagging/TagChange.h"

#include "host/tagging/TagTexts.h"
#include "tags/ChunkTags.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <map>

namespace w64 {

namespace {

std::string Quoted(std::wstring_view text) { return "'" + ToPrintable(text) + "'"; }

// Values by folded name; the first of equal names, as readers take it.
std::map<XStr, const STInternalTag*> TextsByName(const NTag& tags) {
    std::map<XStr, const STInternalTag*> texts;
    for (int i = 0; i < tags.Count(); ++i) {
        if (!tags[i].Value.empty()) texts.emplace(FoldCase(tags[i].Name), &tags[i]);
    }
    return texts;
}

}  // namespace

NTag TagChange::Expected(const NTag& before) const {
    NTag expected;
    if (removeAll) return expected;
    for (const auto& [name, tag] : TextsByName(before)) {
        if (!dropUnwritable || clRIFFSUMMARYLISTChunk::HasIdentifier(name)) expected.AddTag(*tag);
    }
    expected.MergeFrom(set, true);
    for (int i = 0; i < set.Count(); ++i) {
        if (set[i].Value.empty()) expected.RemoveTag(set[i].Name.c_str());
    }
    for (const XStr& name : remove) expected.RemoveTag(name.c_str());
    return expected;
}

std::vector<std::string> UnwritableEntries(XFile& file, int albumOption) {
    clWave64Handler chunks;
    std::vector<std::string> entries;
    std::map<XStr, XStr> seen;  // values by folded name, over all lists
    if (!chunks.Initialize(file.Handle(), {})) return entries;
    for (int i = 0; i < chunks.Count(); ++i) {
        XMem data;
        if (!ChunkTags::IsSummaryList(chunks[i]) || !ChunkTags::ReadSummaryList(chunks[i], file, data, {})) {
            continue;
        }
        NTag tags;
        LISTText text = LISTText::UTF16;
        const auto bytes = static_cast<unsigned>(data.Size());
        clRIFFSUMMARYLISTChunk::InitFrom(data.Data(), bytes, tags, {}, albumOption, text);
        for (const XStr& part : clRIFFSUMMARYLISTChunk::HiddenParts(data.Data(), bytes, albumOption)) {
            entries.push_back(ToUTF8(part));
        }
        for (int k = 0; k < tags.Count(); ++k) {
            const XStr& name = tags[k].Name;
            const auto [first, isNew] = seen.emplace(FoldCase(name), tags[k].Value);
            if (!isNew && first->second != tags[k].Value) entries.push_back("a second " + Quoted(name));
            if (!clRIFFSUMMARYLISTChunk::HasIdentifier(name)) entries.push_back(Quoted(name));
        }
    }
    return entries;
}

std::vector<std::string> DifferencesOfTags(const NTag& expected, const NTag& found) {
    std::vector<std::string> differences;
    auto left = TextsByName(found);
    for (const auto& [name, tag] : TextsByName(expected)) {
        const auto same = left.extract(name);
        if (same.empty()) {
            differences.push_back(Quoted(tag->Name) + " is missing");
        } else if (same.mapped()->Value != tag->Value) {
            differences.push_back(Quoted(tag->Name) + " reads " + Quoted(same.mapped()->Value) +
                                  " instead of " + Quoted(tag->Value));
        }
    }
    for (const auto& [name, tag] : left) differences.push_back(Quoted(tag->Name) + " is still there");
    return differences;
}

}  // namespace w64
