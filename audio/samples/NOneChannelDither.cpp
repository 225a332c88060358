#include "audio/samples/NOneChannelDither.h"

#include "base/XStr.h"

#include <algorithm>
#include <cwchar>
#include <limits>

namespace w64 {

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

// Calls the action for every pair that has a key.
template <class Action>
void ForEachPair(std::wstring_view options, Action action) {
    while (!options.empty()) {
        const std::wstring_view pair = options.substr(0, options.find_first_of(L";,\n"));
        options.remove_prefix(std::min(pair.size() + 1, options.size()));
        const size_t equals = pair.find(L'=');
        if (equals == std::wstring_view::npos) continue;
        action(Trimmed(pair.substr(0, equals)), Trimmed(pair.substr(equals + 1)));
    }
}

}  // namespace

void NOneChannelDither::Create(int bits, const wchar_t* options, uint64_t seed) {
    bits_ = bits;
    level_ = 0;
    noisy_ = false;
    random_.seed(seed);
    ForEachPair(options ? options : L"", [this](std::wstring_view key, std::wstring_view value) {
        if (key == L"dither") level_ = ToInt32(value);
        if (key == L"noise") noisy_ = value == L"tpdf";
    });
}

int32_t NOneChannelDither::WithNoise(int32_t value, int shift, Random& random) {
    const int64_t step = int64_t{1} << shift;
    const auto mask = static_cast<uint64_t>(step - 1);
    const int64_t limit = int64_t{1} << (31 - shift);
    // The difference of two numbers uniform over a step is triangular, with a mean of exactly 0.
    const uint64_t bits = random();
    const auto noise = static_cast<int64_t>(bits >> 48 & mask) - static_cast<int64_t>(bits >> 32 & mask);
    return static_cast<int32_t>(std::clamp((value + noise + step / 2) >> shift, -limit, limit - 1));
}

void NOneChannelDither::DitherInPlace(int32_t* values, int64_t count, int64_t stride) {
    const int shift = Shift();
    const int32_t step = 1 << shift;
    if (!noisy_) {
        for (int64_t i = 0; i < count; i += stride) values[i] &= -step;
        return;
    }
    Random random = random_;  // kept in a register
    for (int64_t i = 0; i < count; i += stride) values[i] = WithNoise(values[i], shift, random) * step;
    random_ = random;
}

}  // namespace w64
