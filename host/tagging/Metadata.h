#pragma once

#include "tags/NTag.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace w64 {

// What a file holds besides its audio, on the way into a file of another kind.
class Metadata {
public:
    // Texts that are longer in all are not carried: files of some kinds could not hold them.
    static constexpr size_t kMaxTextBytes = 8 << 20;
    static constexpr size_t kMaxExtensionBytes = 16 << 20;

    // A tag by the name that its file has for it. Bytes that are not UTF-8 are taken for Windows-1252, and a zero
    // ends the text. Another value of the same tag is put after "; ", the same value is ignored.
    void Add(std::string_view name, std::string_view text);

    // The same for a tag whose name is not there yet.
    void AddMissing(std::string_view name, std::string_view text);

    // For a part of the recording from frame `start` on, at another rate: moves the extension's time reference,
    // which counts frames.
    void MoveStart(int64_t start, uint32_t fromRate, uint32_t toRate);

    // What is left behind where only some of it can be stored, in words: "tags (Title, Artist)", "markers".
    struct Storable {
        bool tags;
        bool extension;
    };
    std::vector<std::string> LeftBehind(Storable storable) const;

    NTag tags;                                // by the names of Wave64 lists
    std::vector<uint8_t> broadcastExtension;  // the data of the chunk; empty for none
    std::vector<std::string> otherTags;       // names of tags that cannot be carried
    std::vector<std::string> others;          // what cannot be carried besides, in words

private:
    void Put(STInternalTag* present, const XStr& name, std::string_view text);

    size_t textBytes_ = 0;
};

// Adds a text that is not there yet; "others" once there are too many to list.
void AddOnce(std::vector<std::string>& texts, const std::string& text);

}  // namespace w64
