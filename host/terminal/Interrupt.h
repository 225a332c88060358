#pragma once

#include <csignal>

namespace w64 {

// SIGINT (Ctrl-C), SIGQUIT (Ctrl-\\), SIGTERM and SIGHUP. The first one asks the program to stop and clean up; a
// second one ends it at once.
class Interrupt {
public:
    static void Install();

    // The signal that was received; 0 for none.
    static int Signal();

    // Throws Interrupt after a signal. Long loops call it once per block.
    static void Check();

    // While one lives, no signal ends the program, however often it is sent, except those that cannot be blocked
    // and those for a fault in the program itself. Those above are answered on standard error.
    // Threads: for work done by the thread that makes it, while there is no other.
    class Hold {
    public:
        Hold();
        Hold(const Hold&) = delete;  // each is counted
        Hold& operator=(const Hold&) = delete;
        ~Hold();

    private:
        sigset_t before_;
    };
};

}  // namespace w64
