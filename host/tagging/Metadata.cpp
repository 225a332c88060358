#include "host/tagging/Metadata.h"

#include "base/LittleEndian.h"
#include "host/tagging/BroadcastExtension.h"
#include "host/tagging/TagNames.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>

namespace w64 {

namespace {

// The characters 0x80 to 0x9F; those that are undefined stay control characters.
constexpr std::array<wchar_t, 32> kWindows1252 = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

XStr Decoded(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    XStr text = FromUTF8(bytes);
    if (ToUTF8(text) == bytes) return text;
    text = Widen(bytes);
    for (wchar_t& c : text) {
        if (c >= 0x80 && c < 0xA0) c = kWindows1252[static_cast<size_t>(c - 0x80)];
    }
    return text;
}

// `count` at one rate, in frames of another, rounded down. No product overflows.
uint64_t InFramesOf(uint32_t toRate, uint64_t count, uint32_t fromRate) {
    return count / fromRate * toRate + count % fromRate * toRate / fromRate;
}

}  // namespace

void AddOnce(std::vector<std::string>& texts, const std::string& text) {
    constexpr size_t kMax = 24;
    if (texts.size() > kMax || std::ranges::find(texts, text) != texts.end()) return;
    texts.push_back(texts.size() < kMax ? text : "others");
}

void Metadata::Add(std::string_view name, std::string_view text) {
    const XStr stored = StoredName(FromUTF8(name));
    if (stored.empty()) return AddOnce(otherTags, std::string(name));
    Put(tags.FindElement(stored.c_str()), stored, text);
}

void Metadata::AddMissing(std::string_view name, std::string_view text) {
    const XStr stored = StoredName(FromUTF8(name));
    if (stored.empty()) return AddOnce(otherTags, std::string(name));
    if (!tags.FindElement(stored.c_str())) Put(nullptr, stored, text);
}

void Metadata::Put(STInternalTag* present, const XStr& name, std::string_view text) {
    if (text.size() > kMaxTextBytes - textBytes_) return AddOnce(otherTags, ToUTF8(name));
    const XStr value = Decoded(text);
    if (value.empty() || (present && present->Value == value)) return;
    textBytes_ += text.size();
    if (present) {
        present->Value += L"; " + value;
    } else {
        tags.AddTag(name.c_str(), value.c_str());
    }
}

void Metadata::MoveStart(int64_t start, uint32_t fromRate, uint32_t toRate) {
    if (broadcastExtension.size() < BroadcastExtension::kMinBytes) return;
    uint8_t* field = broadcastExtension.data() + BroadcastExtension::kTimeReferenceAt;
    const uint64_t moved = base::Load<uint64_t>(field) + static_cast<uint64_t>(start);
    base::Store(field, InFramesOf(toRate, moved, fromRate));
}

std::vector<std::string> Metadata::LeftBehind(Storable storable) const {
    std::vector<std::string> names;
    for (int i = 0; !storable.tags && i < tags.Count(); ++i) AddOnce(names, ToPrintable(tags[i].Name));
    for (const std::string& name : otherTags) AddOnce(names, name);
    std::vector<std::string> left;
    if (!names.empty()) left.push_back("tags (" + Joined(names, ", ") + ")");
    if (!storable.extension && !broadcastExtension.empty()) left.emplace_back("broadcast extension");
    for (const std::string& other : others) AddOnce(left, other);
    return left;
}

}  // namespace w64
