#include "settings/XJSON.h"

#include <algorithm>
#include <cwchar>

namespace w64::XJSON {

namespace {

struct EscapeLetter {
    wchar_t character;
    wchar_t letter;
};

constexpr EscapeLetter kEscapeLetters[] = {
    {L'"', L'"'},  {L'\\', L'\\'}, {L'/', L'/'},  {L'\b', L'b'},
    {L'\f', L'f'}, {L'\n', L'n'},  {L'\r', L'r'}, {L'\t', L't'},
};

void AppendEscape(XStr& out, wchar_t c) {
    const auto found = std::ranges::find(kEscapeLetters, c, &EscapeLetter::character);
    if (found != std::end(kEscapeLetters)) {
        out += L'\\';
        out += found->letter;
        return;
    }
    wchar_t escape[8];
    std::swprintf(escape, std::size(escape), L"\\u%04X", static_cast<unsigned>(c));
    out += escape;
}

int HexDigit(wchar_t c) {
    if (IsDigit(c)) return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

std::wstring_view From(std::wstring_view text, int position) {
    const auto index = static_cast<size_t>(position) - 1;
    return text.substr(std::min(index, text.size()));
}

}  // namespace

bool IsSpacing(wchar_t c) { return c >= 1 && c <= 32; }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsReservedChar(wchar_t c) { return static_cast<uint32_t>(c) < 32 || c == L'\\' || c == L'"'; }

bool IsNumber(std::wstring_view text) {
    if (text.starts_with(L'-')) text.remove_prefix(1);
    return !text.empty() && std::ranges::all_of(text, IsDigit);
}

void AppendEnquoted(XStr& out, std::wstring_view text) {
    out += L'"';
    for (auto from = text.begin();; ++from) {
        const auto reserved = std::find_if(from, text.end(), IsReservedChar);
        out.append(from, reserved);
        if (reserved == text.end()) break;
        AppendEscape(out, *reserved);
        from = reserved;
    }
    out += L'"';
}

XStr EscapeEnquote(std::wstring_view text) {
    XStr out;
    AppendEnquoted(out, text);
    return out;
}

XStr Escape(std::wstring_view text) {
    const XStr enquoted = EscapeEnquote(text);
    return enquoted.substr(1, enquoted.size() - 2);
}

XStr UnEscape(std::wstring_view text) {
    bool lossy = false;
    return UnEscape(text, lossy);
}

XStr UnEscape(std::wstring_view text, bool& lossy) {
    XStr out;
    for (;;) {
        const size_t run = std::min(text.find(L'\\'), text.size());
        out += text.substr(0, run);
        if (text.size() - run < 2) return out;
        const wchar_t letter = text[run + 1];
        text.remove_prefix(run + 2);
        const auto found = std::ranges::find(kEscapeLetters, letter, &EscapeLetter::letter);
        if (letter == L'u' || letter == L'U') {
            const size_t left = text.size();
            out += static_cast<wchar_t>(GetHex(text));
            lossy |= left - text.size() < 4;
        } else if (found != std::end(kEscapeLetters)) {
            out += found->character;
        } else {
            lossy = true;
        }
    }
}

XStr UnEscapeUnQuote(std::wstring_view text) {
    if (text.starts_with(L'"')) text.remove_prefix(1);
    if (text.ends_with(L'"')) text.remove_suffix(1);
    return UnEscape(text);
}

uint32_t GetHex(std::wstring_view& text) {
    uint32_t value = 0;
    for (int i = 0; i < 4 && !text.empty() && HexDigit(text.front()) >= 0; ++i) {
        value = value << 4 | static_cast<uint32_t>(HexDigit(text.front()));
        text.remove_prefix(1);
    }
    return value;
}

XStr AddIndent(std::wstring_view text, std::wstring_view indent) {
    XStr out;
    for (const wchar_t c : text) {
        out += c;
        if (c == EOL) out += indent;
    }
    return out;
}

void SkipSpacing(std::wstring_view text, int& position) {
    const std::wstring_view rest = From(text, position);
    position += static_cast<int>(std::ranges::find_if_not(rest, IsSpacing) - rest.begin());
}

bool MatchKeyword(std::wstring_view text, int& position, std::wstring_view keyword) {
    if (!BeginsWithNoCase(From(text, position), keyword)) return false;
    position += static_cast<int>(keyword.size());
    return true;
}

}  // namespace w64::XJSON
