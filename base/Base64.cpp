#include "base/Base64.h"

#include <algorithm>
#include <new>

namespace w64 {

namespace {

constexpr std::wstring_view kAlphabet = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr wchar_t kPadding = L'=';

}  // namespace

XStr ToBase64(const void* data, size_t bytes) {
    const auto* from = static_cast<const uint8_t*>(data);
    XStr text;
    text.reserve((bytes + 2) / 3 * 4);
    for (size_t at = 0; at < bytes; at += 3) {
        const size_t left = std::min<size_t>(bytes - at, 3);
        uint32_t group = 0;
        for (size_t i = 0; i < 3; ++i) group = group << 8 | (i < left ? from[at + i] : 0u);
        for (size_t i = 0; i < 4; ++i) text += i <= left ? kAlphabet[group >> (18 - 6 * i) & 63] : kPadding;
    }
    return text;
}

std::optional<XMem> FromBase64(std::wstring_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    const bool padded = text.ends_with(kPadding);
    text.remove_suffix(padded + (text.ends_with(L"==") ? 1 : 0));
    XMem bytes;
    if (!bytes.Resize(text.size() * 6 / 8)) throw std::bad_alloc();
    uint32_t bits = 0;
    int held = 0;
    uint8_t* to = bytes.Data();
    for (const wchar_t c : text) {
        const size_t value = kAlphabet.find(c);
        if (value == kAlphabet.npos) return std::nullopt;
        bits = bits << 6 | static_cast<uint32_t>(value);
        held += 6;
        if (held < 8) continue;
        held -= 8;
        *to++ = static_cast<uint8_t>(bits >> held);
    }
    if (bits & ((1u << held) - 1)) return std::nullopt;  // spare bits must be 0
    return bytes;
}

}  // namespace w64
