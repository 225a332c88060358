#include "host/tagging/TagLines.h"

#include "host/terminal/Failure.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace w64 {

namespace {

struct Escape {
    char letter;
    char character;
};
constexpr Escape kEscapes[] = {{'n', '\n'}, {'r', '\r'}, {'\\', '\\'}};

std::string Escaped(std::string_view value) {
    std::string text;
    for (const char c : value) {
        const Escape* found = std::ranges::find(kEscapes, c, &Escape::character);
        if (found == std::end(kEscapes)) {
            text += c;
        } else {
            text += {'\\', found->letter};
        }
    }
    return text;
}

std::string Unescaped(std::string_view text) {
    std::string value;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            value += text[i];
            continue;
        }
        const Escape* found = std::end(kEscapes);
        if (++i < text.size()) found = std::ranges::find(kEscapes, text[i], &Escape::letter);
        if (found == std::end(kEscapes)) {
            throw UsageError("a backslash is followed by 'n', 'r' or another one");
        }
        value += found->character;
    }
    return value;
}

}  // namespace

std::string ToLine(const TagText& tag) { return tag.first + "=" + Escaped(tag.second) + "\n"; }

std::vector<TagText> TagsOfLines(std::string_view text) {
    std::vector<TagText> tags;
    std::istringstream lines{std::string(text)};
    lines.exceptions(std::ios::badbit);  // when memory runs out
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty()) continue;
        try {
            const auto [name, value] = SplitAssignment(line);
            tags.emplace_back(name, Unescaped(value));
        } catch (const UsageError& error) {
            throw UsageError("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return tags;
}

TagText SplitAssignment(const std::string& assignment) {
    const size_t sign = assignment.find('=');
    if (sign == 0 || sign == assignment.npos) throw UsageError("'" + assignment + "' is not Name=Value");
    return {assignment.substr(0, sign), assignment.substr(sign + 1)};
}

}  // namespace w64
