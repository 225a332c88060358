#include "host/terminal/Terminal.h"

#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace w64 {

namespace {

std::string_view Environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

std::optional<size_t> TerminalColumns(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
    return size.ws_col;
}

bool ShowsColors(int descriptor) {
    return ::isatty(descriptor) == 1 && Environment("NO_COLOR").empty() && Environment("TERM") != "dumb";
}

}  // namespace w64
