#include "base/XInternational.h"

#include <cmath>

namespace w64 {

XStr XInternational::Int2Str(int64_t value) {
    XStr digits = std::to_wstring(value);
    const size_t first = value < 0 ? 1 : 0;
    for (size_t i = digits.size(); i > first + 3;) digits.insert(i -= 3, L",");
    return digits;
}

XStr XInternational::FileSize2Str(int64_t bytes) {
    if (bytes < 1024) return std::to_wstring(bytes) + L" bytes";
    constexpr const wchar_t* units[] = {L" KB", L" MB", L" GB"};
    double amount = static_cast<double>(bytes) / 1024;
    const wchar_t* const* unit = units;
    // Rounded to hundredths first, so that 1,023.999 KB is shown as 1.00 MB.
    while (unit != std::end(units) - 1 && std::round(amount * 100) >= 1024 * 100) {
        amount /= 1024;
        ++unit;
    }
    const auto hundredths = std::llround(amount * 100);
    const XStr fraction = std::to_wstring(hundredths % 100 + 100).substr(1);
    return std::to_wstring(hundredths / 100) + L"." + fraction + *unit;
}

}  // namespace w64
