#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace w64 {

// Wide text. A character is one Unicode code point in 32 bits, on every platform that this software runs on.
using XStr = std::wstring;

static_assert(sizeof(wchar_t) == 4, "wide characters carry one code point each");

// One code point per character; surrogates and values past 0x10FFFF become U+FFFD.
std::string ToUTF8(std::wstring_view text);

// The reverse. Each byte that is not part of a well-formed sequence becomes U+FFFD.
XStr FromUTF8(std::string_view text);

// File names are bytes, which need not be UTF-8. A byte that is not part of a well-formed sequence becomes U+DC80 to
// U+DCFF, standing for 0x80 to 0xFF (Python's "surrogateescape"), so that every name comes back exactly.
std::string ToFileName(std::wstring_view name);
XStr FromFileName(std::string_view name);

// UTF-16 in wide characters: code points past 0xFFFF as two surrogates each, and back. A surrogate without its
// partner stays as it is; anything that is not a code point becomes U+FFFD.
XStr SplitIntoUnits(std::wstring_view text);
XStr JoinUnits(std::wstring_view units);

// 8-bit characters (function names, four-character codes) widened one by one, as Latin-1.
XStr Widen(std::string_view text);

// Names are compared with only the letters A to Z folded, in every locale.
constexpr wchar_t FoldCase(wchar_t c) { return c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c; }
XStr FoldCase(XStr text);
bool EqualNoCase(std::wstring_view a, std::wstring_view b);
bool BeginsWithNoCase(std::wstring_view text, std::wstring_view prefix);

// Plain decimal: no grouping, no leading zeros.
template <class Integer>
XStr Int2Str(Integer value) {
    return std::to_wstring(value);
}

}  // namespace w64
