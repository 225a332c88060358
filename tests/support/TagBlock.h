#pragma once

#include "Bytes.h"

#include <sstream>
#include <string>
#include <vector>

namespace w64 {

struct PackedTag {
    std::wstring name, value;
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
        for (const std::wstring* text : {&name, &value}) {
            for (const wchar_t c : *text) Append(block, static_cast<uint16_t>(c));
            Append<uint16_t>(block, 0);
        }
        block.insert(block.end(), data.begin(), data.end());
    }
    return block;
}

// A settings file for "LISTPos=1 SafeEdit=1"; what is not named is not set.
inline std::string SettingsOf(const std::string& options) {
    std::string store = R"({"HKCU":{"Software":{"Quillomere":{"Korvastune":{"Tagging":{)";
    std::istringstream parts(options);
    for (std::string option; parts >> option; store += ',')
        store += "\"Wave64" + option.substr(0, option.find('=')) + "\":" + option.back();
    if (store.back() == ',') store.pop_back();
    return store + "}}}}}}";
}

}  // namespace w64
