#include "host/decoder/ReportChannels.h"

#include <algorithm>
#include <sstream>

namespace w64 {

std::vector<std::string> ReportChannels::Lines(std::string text) {
    std::vector<std::string> lines;
    if (text.empty()) return lines;
    std::ranges::replace(text, '\0', '?');  // would end the message early
    std::istringstream stream(std::move(text));
    stream.exceptions(std::ios::badbit);  // when memory runs out
    for (std::string line; std::getline(stream, line);) {
        line.erase(std::min(line.rfind("  ["), line.find_last_not_of('\r') + 1));
        if (!line.empty() && std::ranges::find(lines, line) == lines.end()) lines.push_back(line);
    }
    return lines;
}

std::string JoinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += text.empty() ? line : "\n" + line;
    return text;
}

}  // namespace w64
