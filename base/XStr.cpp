#include "base/XStr.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace w64 {

namespace {

constexpr uint32_t kReplacement = 0xFFFD;
constexpr uint32_t kEscapedBytes = 0xDC00;  // plus 0x80 to 0xFF

bool IsScalarValue(uint32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

void AppendUTF8(std::string& out, uint32_t c) {
    if (!IsScalarValue(c)) c = kReplacement;
    const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

struct Sequence {
    size_t length;  // bytes, the lead byte included; 0 when the byte cannot lead
    uint32_t bits;  // payload of the lead byte
    uint32_t min;   // smallest code point that needs this length
};

Sequence LeadByte(uint8_t byte) {
    if (byte < 0x80) return {1, byte, 0};
    if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1Fu, 0x80};
    if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0Fu, 0x800};
    if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07u, 0x10000};
    return {0, 0, 0};
}

// The code point at the front of `text` and its length in bytes; length 0 when malformed.
std::pair<uint32_t, size_t> FirstCodePoint(std::string_view text) {
    const Sequence lead = LeadByte(static_cast<uint8_t>(text[0]));
    if (lead.length == 0 || lead.length > text.size()) return {0, 0};
    uint32_t c = lead.bits;
    for (size_t i = 1; i < lead.length; ++i) {
        const auto byte = static_cast<uint8_t>(text[i]);
        if ((byte & 0xC0) != 0x80) return {0, 0};
        c = c << 6 | (byte & 0x3Fu);
    }
    if (c < lead.min || !IsScalarValue(c)) return {0, 0};
    return {c, lead.length};
}

// The ASCII that a text begins with, mostly all of it, which is the same in every form. The rest is taken off.
template <class Out, class Text>
Out TakeASCII(Text& rest) {
    const auto isOther = [](auto c) { return static_cast<std::make_unsigned_t<decltype(c)>>(c) >= 0x80; };
    const auto end = std::ranges::find_if(rest, isOther);
    Out out;
    out.reserve(rest.size());
    out.resize(static_cast<size_t>(end - rest.begin()));
    std::transform(rest.begin(), end, out.begin(),
                   [](auto c) { return static_cast<typename Out::value_type>(c); });
    rest.remove_prefix(out.size());
    return out;
}

// `characterFor` gives what stands for a byte that is not part of a well-formed sequence.
template <class CharacterFor>
XStr Decode(std::string_view text, CharacterFor characterFor) {
    auto out = TakeASCII<XStr>(text);
    while (!text.empty()) {
        const auto [c, length] = FirstCodePoint(text);
        out.push_back(static_cast<wchar_t>(length ? c : characterFor(static_cast<uint8_t>(text[0]))));
        text.remove_prefix(length ? length : 1);
    }
    return out;
}

}  // namespace

std::string ToUTF8(std::wstring_view text) {
    auto out = TakeASCII<std::string>(text);
    for (const wchar_t character : text) AppendUTF8(out, static_cast<char32_t>(character));
    return out;
}

XStr FromUTF8(std::string_view text) {
    return Decode(text, [](uint32_t) { return kReplacement; });
}

std::string ToFileName(std::wstring_view name) {
    auto out = TakeASCII<std::string>(name);
    for (const wchar_t character : name) {
        const auto c = static_cast<char32_t>(character);
        const bool isByte = c >= kEscapedBytes + 0x80 && c <= kEscapedBytes + 0xFF;
        isByte ? out.push_back(static_cast<char>(c - kEscapedBytes)) : AppendUTF8(out, c);
    }
    return out;
}

XStr FromFileName(std::string_view name) {
    return Decode(name, [](uint32_t byte) { return kEscapedBytes + byte; });
}

XStr SplitIntoUnits(std::wstring_view text) {
    XStr units;
    units.reserve(text.size());
    const auto put = [&units](char32_t unit) { units.push_back(static_cast<wchar_t>(unit)); };
    for (const wchar_t character : text) {
        const auto c = static_cast<char32_t>(character);
        if (c <= 0xFFFF || c > 0x10FFFF) {
            put(c <= 0xFFFF ? c : kReplacement);
        } else {
            put(0xD800 + ((c - 0x10000) >> 10));
            put(0xDC00 + (c & 0x3FF));
        }
    }
    return units;
}

XStr JoinUnits(std::wstring_view units) {
    auto text = TakeASCII<XStr>(units);
    for (const wchar_t unit : units) {
        const wchar_t before = text.empty() ? L'\0' : text.back();
        if (unit >= 0xDC00 && unit <= 0xDFFF && before >= 0xD800 && before <= 0xDBFF) {
            text.back() = 0x10000 + ((before - 0xD800) << 10) + (unit - 0xDC00);
        } else {
            text.push_back(unit);
        }
    }
    return text;
}

XStr Widen(std::string_view text) {
    XStr out;
    out.reserve(text.size());
    for (const char c : text) out.push_back(static_cast<wchar_t>(static_cast<uint8_t>(c)));
    return out;
}

XStr FoldCase(XStr text) {
    std::ranges::transform(text, text.begin(), [](wchar_t c) { return FoldCase(c); });
    return text;
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
    return std::ranges::equal(a, b, [](wchar_t x, wchar_t y) { return FoldCase(x) == FoldCase(y); });
}

bool BeginsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
    return EqualNoCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace w64
