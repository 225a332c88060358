#include "audio/NOneChannelDither.h"

#include "base/XStr.h"

#include <algorithm>
#include <cwchar>
#include <limits>

namespace {

std::wstring_view Trimmed(std::wstring_view text) {
    constexpr std::wstring_view kBlanks = L" \t\r";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::wstring_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

int32_t ToInt32(std::wstring_view text) {
    const long value = std::wcstol(XStr(text).c_str(), nullptr, 10);
    return static_cast<int32_t>(
        std::clamp<long>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

}  // namespace

void NOneChannelDither::Create(int bits, const wchar_t* options) {
    bits_ = bits;
    level_ = 0;
    std::wstring_view rest = options ? options : L"";
    while (!rest.empty()) {
        const std::wstring_view pair = rest.substr(0, rest.find_first_of(L";,\n"));
        rest.remove_prefix(std::min(pair.size() + 1, rest.size()));
        const size_t equals = pair.find(L'=');
        if (equals == std::wstring_view::npos) continue;
        if (Trimmed(pair.substr(0, equals)) == L"dither") level_ = ToInt32(pair.substr(equals + 1));
    }
}
