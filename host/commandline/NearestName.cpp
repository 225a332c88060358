#include "host/commandline/NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace w64 {

namespace {

// The Damerau-Levenshtein distance: letters to add, remove, replace or swap with a neighbour.
size_t Distance(std::string_view a, std::string_view b) {
    std::vector<size_t> beforeLast(b.size() + 1);
    std::vector<size_t> last(b.size() + 1);
    std::iota(last.begin(), last.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        std::vector<size_t> row = {i};
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row.push_back(std::min({last[j] + 1, row[j - 1] + 1, replaced}));
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::exchange(last, std::move(row));
    }
    return last.back();
}

std::string InSmallLetters(std::string_view text) {
    std::string small(text);
    std::ranges::transform(small, small.begin(), [](unsigned char c) { return std::tolower(c); });
    return small;
}

size_t Cost(const std::string& typed, const std::string& name) {
    const std::string meant = InSmallLetters(name);
    return meant.starts_with(typed) ? 1 : Distance(typed, meant);  // people abbreviate
}

}  // namespace

std::optional<std::string> NearestName(std::string_view typed, const std::vector<std::string>& names) {
    const auto cost = [small = InSmallLetters(typed)](const std::string& name) { return Cost(small, name); };
    const auto nearest = std::ranges::min_element(names, {}, cost);
    const size_t affordable = std::max<size_t>(typed.size() / 3, 1);
    return nearest == names.end() || cost(*nearest) > affordable ? std::nullopt : std::optional(*nearest);
}

std::string Suggestion(std::string_view typed, const std::vector<std::string>& names,
                       const std::string& otherwise) {
    const auto meant = NearestName(typed, names);
    return meant ? "did you mean '" + *meant + "'?" : otherwise;
}

}  // namespace w64
