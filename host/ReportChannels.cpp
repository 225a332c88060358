#include "host/ReportChannels.h"

#include "host/Failure.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>

ReportChannels::ReportChannels(int traceDescriptor)
    : error_(Unnamed()), information_(Unnamed()), traceDescriptor_(traceDescriptor) {}

STNStdReport ReportChannels::Report() const {
    return {::fileno(error_.get()), ::fileno(information_.get()), traceDescriptor_};
}

ReportChannels::File ReportChannels::Unnamed() {
    File file(std::tmpfile());
    if (!file) throw SystemFailure("cannot create a temporary file");
    return file;
}

std::vector<std::string> ReportChannels::Lines(std::FILE* file) {
    constexpr size_t kBeginning = 8192;
    std::string text(kBeginning, '\0');
    const ssize_t bytes = ::pread(::fileno(file), text.data(), text.size(), 0);
    text.resize(static_cast<size_t>(std::max<ssize_t>(bytes, 0)));
    std::ranges::replace(text, '\0', '?');  // would end the message where it is passed on

    std::vector<std::string> lines;
    std::istringstream stream(std::move(text));
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
