#pragma once

#include "Json.h"
#include "Wave64Bytes.h"
#include "Workshop.h"

#include <initializer_list>
#include <utility>

// A workshop whose commands find settings of their own, never those of whoever runs the test.
class TagWorkshop : public Workshop {
public:
    std::filesystem::path Settings() const { return home_.Path() / "settings"; }

    // "LISTPos=1 LISTText=0"
    void Configure(const std::string& options) const {
        Run("for option in " + options + "; do w64 options Wave64$option; done");
    }

    Outcome Run(const std::string& commandLine) const {
        return Workshop::Run("export XCLASS_XREGISTRY_LOCATION='" + Settings().string() + "'; " +
                             commandLine);
    }

    // As they are shown: "Title=Song, Artist=Somebody".
    std::string Tags(const std::string& name) const {
        const std::string shown = Run("w64 tags -q --json " + name).output;
        std::string tags;
        for (int i = 0;; ++i) {
            const std::string tag = "/0/tags/" + std::to_string(i);
            if (JsonAt(shown, tag).empty()) return tags;
            tags += (i == 0 ? "" : ", ") + JsonAt(shown, tag + "/name") + "=" + JsonAt(shown, tag + "/value");
        }
    }

    // Nothing but "a.w64" with these bytes.
    bool Holds(const Bytes& file) const {
        return Files() == std::set<std::string>{"a.w64"} && Read("a.w64") == file;
    }

private:
    TempFolder home_;
};

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

// Audio with a chunk of somebody else's before it; what is appended lies behind the audio.
inline Wave64Bytes Recording(const Bytes& audio) {
    return Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("bext", Bytes(701, 'b')).Data(audio);
}
