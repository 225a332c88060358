#pragma once

#include "LayoutBytes.h"
#include "PluginHost.h"
#include "TagBlock.h"
#include "settings/XRegistry.h"

namespace w64 {

// A file, the settings for its edits, and the plug-in.
class TaggedFile : public testing::Test {
protected:
    TaggedFile() { XRegistry::SetRegFileLocation(FromUTF8(settings.native()), true); }

    void SetOptions(const std::string& options) const {
        const std::string text = SettingsOf(options);
        folder.Write("settings", {text.begin(), text.end()});
    }

    void Reset(const Bytes& bytes) const { folder.Write("a.w64", bytes); }
    Bytes Contents() const { return ReadBytes(path); }

    int32_t Write(const Bytes& block) { return host.emplace().WriteTags(path, block); }

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
