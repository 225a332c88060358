#pragma once

#include "LayoutBytes.h"
#include "PluginHost.h"
#include "settings/XRegistry.h"

namespace w64 {

struct PackedTag {
    XStr name, value;
    Bytes data = {};
};
using Tags = std::vector<PackedTag>;

// `rawChunks` follow the tags.
inline Bytes Pack(Tags tags, const std::vector<Bytes>& rawChunks = {}) {
    for (int serial = 1; const Bytes& chunk : rawChunks)
        tags.push_back({L"_riff_" + std::to_wstring(serial++), L"", chunk});
    Bytes block;
    Append(block, static_cast<uint32_t>(tags.size()));
    for (const auto& [name, value, data] : tags) {
        Append(block, static_cast<uint32_t>(4 + 2 * (name.size() + value.size() + 2) + data.size()));
        for (const XStr* text : {&name, &value}) {
            for (const wchar_t c : *text) Append(block, static_cast<uint16_t>(c));
            Append<uint16_t>(block, 0);
        }
        block.insert(block.end(), data.begin(), data.end());
    }
    return block;
}

// A file, the settings for its edits, and the plug-in.
class TaggedFile : public testing::Test {
protected:
    TaggedFile() { XRegistry::SetRegFileLocation(FromUTF8(settings.native()), true); }

    // "LISTPos=1 SafeEdit=1"; what is not named is not set.
    void SetOptions(const std::string& options) const {
        std::string store = R"({"HKCU":{"Software":{"Quillomere":{"Korvastune":{"Tagging":{)";
        std::istringstream parts(options);
        for (std::string option; parts >> option; store += ',')
            store += "\"Wave64" + option.substr(0, option.find('=')) + "\":" + option.back();
        if (store.back() == ',') store.pop_back();
        store += "}}}}}}";
        folder.Write("settings", {store.begin(), store.end()});
    }

    void Reset(const Bytes& bytes) const { folder.Write("a.w64", bytes); }
    Bytes Contents() const { return ReadBytes(path); }

    int32_t Write(Bytes block) {  // by value, so that reads past it are caught
        STKvCodecGetSet record{};
        record.Text1 = name.c_str();
        record.TagData = block.data();
        record.Value = static_cast<int32_t>(block.size());
        return Plugin().Set(host.emplace().handle, L"IDTags", &record);
    }

    // All tags when there are no names.
    int32_t Delete(const Tags& named) {
        XStr packed;
        for (const PackedTag& tag : named) packed += tag.name + L'\0';
        return Plugin().DeleteATag(host.emplace().handle, name.c_str(), packed.c_str());
    }

    // The packed block; empty when there is none.
    Bytes Read() {
        EXPECT_EQ(host.emplace().Open(path, kvOpenTags), 1);
        const auto* block = static_cast<const uint8_t*>(host->open.TagData);
        return {block, block + host->open.TagDataSize};
    }

    const TempFolder folder;
    const std::filesystem::path path = folder.Path() / "a.w64";
    const std::filesystem::path settings = folder.Path() / "settings";
    const XStr name = FromUTF8(path.native());
    std::optional<PluginHost> host;  // of the last call
};

}  // namespace w64
