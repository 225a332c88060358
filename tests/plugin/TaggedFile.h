#pragma once

#include "PluginHost.h"
#include "Wave64Bytes.h"
#include "settings/XRegistry.h"

#include <gtest/gtest.h>
#include <sstream>

namespace w64 {

// "INAM=Hello,IART=Abba" as a list of texts: whole as 32-bit characters ("wide") or as 16-bit units and a zero
// ("utf16"), or 32-bit characters in half the bytes that they need ("half"). Empty for no entries.
inline Bytes ListData(const std::string& form, const std::string& entries) {
    Bytes data(entries.empty() ? 0 : 4);
    std::istringstream parts(entries);
    for (std::string entry; std::getline(parts, entry, ',');) {
        Bytes text;
        for (size_t i = 5; i < entry.size(); ++i) {
            text.push_back(static_cast<uint8_t>(entry[i]));
            text.resize(text.size() + (form == "utf16" ? 1 : 3));
        }
        if (form == "half") text.resize(2 * (entry.size() - 5));
        if (form != "wide") text.resize(text.size() + 2);
        data.insert(data.end(), entry.begin(), entry.begin() + 4);
        Append(data, static_cast<uint32_t>(text.size()));
        data.insert(data.end(), text.begin(), text.end());
        ++data[0];
    }
    return data;
}

// "fmt junk:16z wide:INAM=Hello data:2001": chunks with their bytes of data ("z": zeros, "k": kept from `before`),
// and summary lists by the form of their texts.
inline Bytes FileOf(const std::string& layout, const Bytes& before = {}) {
    Wave64Bytes file;
    std::istringstream parts(layout);
    for (std::string part; parts >> part;) {
        const size_t colon = std::min(part.find(':'), part.size() - 1);
        const std::string id = part.substr(0, colon), rest = part.substr(colon + 1);
        if (part == "fmt") {
            file.Fmt(1, 2, 44100, 16);
        } else if (id == "half" || id == "wide" || id == "utf16") {
            file.SummaryList(ListData(id, rest));
        } else {
            const size_t at = file.File().size() + 24, size = std::stoul(rest);
            const Bytes pattern = Pattern(size + 256);  // different for every identifier
            const uint8_t* body = part.back() == 'k' ? before.data() + at : pattern.data() + id[0];
            const size_t bytes = part.back() == 'k' ? (size + 7) / 8 * 8 : size;
            const Bytes data = part.back() == 'z' ? Bytes(size) : Bytes(body, body + bytes);
            file.Chunk((id + " ").substr(0, 4), data, 24 + size);
        }
    }
    return file.File();
}

struct PackedTag {
    XStr name, value;
    Bytes data = {};
};
using Tags = std::vector<PackedTag>;

inline Bytes Pack(const Tags& tags) {
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
        for (std::string option; parts >> option; store += ',') {
            store += "\"Wave64" + option.substr(0, option.find('=')) + "\":" + option.back();
        }
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
