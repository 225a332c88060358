#pragma once

#include "Wave64Bytes.h"

#include <initializer_list>
#include <utility>

namespace w64 {

// The data of a summary list.
inline Bytes List(std::initializer_list<std::pair<std::string_view, Bytes>> entries) {
    Bytes list;
    Append(list, static_cast<uint32_t>(entries.size()));
    for (const auto& [identifier, text] : entries) {
        list.insert(list.end(), identifier.begin(), identifier.end());
        Append(list, static_cast<uint32_t>(text.size()));
        list.insert(list.end(), text.begin(), text.end());
    }
    return list;
}

// 16-bit text with its zero, or 32-bit text.
template <class Unit>
Bytes Text(const Unit* text) {
    Bytes bytes;
    for (; *text; ++text) Append(bytes, *text);
    if (sizeof(Unit) == 2) Append(bytes, Unit{});
    return bytes;
}

// Audio with a chunk of somebody else's before it; what is appended comes after the audio.
inline Wave64Bytes Recording(const Bytes& audio) {
    return Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("bext", Bytes(701, 'b')).Data(audio);
}

}  // namespace w64
