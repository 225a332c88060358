#pragma once

#include "Wave64Bytes.h"

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

}  // namespace w64
