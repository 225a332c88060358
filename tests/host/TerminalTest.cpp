#include "HostWorkshop.h"
#include "host/terminal/Progress.h"

#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

namespace w64 {

namespace {

using Terminal = HostTest;

// What a process writes to a terminal of 80 columns.
template <class Body>
std::string ShownBy(const Body& body) {
    winsize size{24, 80, 0, 0};
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (process == 0) {
        body();
        ::_exit(0);
    }
    std::string shown;
    char bytes[4096];
    for (ssize_t got = 0; (got = ::read(terminal, bytes, sizeof bytes)) > 0;)
        shown.append(bytes, static_cast<size_t>(got));
    ::close(terminal);
    ::waitpid(process, nullptr, 0);
    return shown;
}

}  // namespace

TEST_F(Terminal, ShowsColoursUnlessTheyAreNotWanted) {
    shop.Write("a.w64", Wave64Bytes().Fmt(1, 2, 8000, 16).Data(Pattern(400)).File());
    const std::pair<const char*, bool> cases[] = {{"unset NO_COLOR; TERM=xterm", true},
                                                  {"NO_COLOR= TERM=xterm", true},
                                                  {"NO_COLOR=1 TERM=xterm", false},
                                                  {"unset NO_COLOR; TERM=dumb", false}};
    for (const auto& [environment, hasColours] : cases) {
        const std::string line =
            "cd '" + shop.Path().string() + "'; " + environment + " '" W64_COMMAND "' chunks a.w64";
        const std::string shown = ShownBy([&] { ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr); });
        EXPECT_EQ(shown.find("\x1B[") != shown.npos, hasColours) << environment << shown;
        EXPECT_EQ(shown.find("  A  audio ") != shown.npos, !hasColours) << shown;
    }
    EXPECT_EQ(shop.Do("unset NO_COLOR; TERM=xterm w64 chunks a.w64").output.find('\x1B'), std::string::npos);
}

TEST_F(Terminal, NamesTheOnlyFileAndWhatCameOfIt) {
    const std::string line = "cd '" + shop.Path().string() + "'; '" W64_COMMAND "' sample a.w64 --seconds 30";
    const std::string shown = ShownBy([&] { ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr); });
    EXPECT_HAS("\ra.w64  [", shown);
    EXPECT_HAS("\r\x1B[Ka.w64  0:00:30.000, ", shown);
}

TEST_F(Terminal, ShowsHowFarTheWorkIs) {
    const std::string shown = ShownBy([] {
        const auto untilDrawnAgain = [] { std::this_thread::sleep_for(std::chrono::milliseconds(110)); };
        Console console({.statusLine = true});
        Progress progress(console, "", 2);
        Progress::Share second(progress, 1000);
        {
            Progress::Share first(progress, 1000);
            untilDrawnAgain();
            first.Advance(500, 1);
            second.Expect(4000);
            untilDrawnAgain();
            first.Advance(250, 1);
        }  // with 250 left undone
        untilDrawnAgain();
        second.Advance(3050, 1);
        second.Expect(3050);
        untilDrawnAgain();
        second.Advance(0, 0);
    });
    const auto line = [](const std::string& files, size_t filled, const std::string& percent) {
        const std::string bar = std::string(filled, '=') + ">" + std::string(30, ' ');
        return "\r" + files + " of 2 files  [" + bar.substr(0, 30) + "] " + percent + "  ";
    };
    for (const std::string& expected :
         {line("0", 7, " 25%"), line("0", 4, " 15%"), line("1", 24, " 80%"), line("1", 30, "100%")})
        EXPECT_HAS(expected, shown);
}

}  // namespace w64
