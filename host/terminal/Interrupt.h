#pragma once

#include <csignal>

namespace w64 {

// Ctrl-C and a polite kill. The first one asks the program to stop where it is and clean up; a second one
// ends it at once.
class Interrupt {
public:
    static void Install();

    // The signal that asked, 0 when none has.
    static int Signal();

    // Throws Interrupt when a signal has asked. Long loops call it once per block.
    static void Check();

    // While one lives, no signal ends the program, however often it comes, but those that nobody can hold back
    // and those of a fault in the program itself. Ctrl-C and a polite kill are told so on standard error.
    // Threads: for work that is done by the one that makes it, while there is no other.
    class Hold {
    public:
        Hold();
        Hold(const Hold&) = delete;  // as many as are made
        Hold& operator=(const Hold&) = delete;
        ~Hold();

    private:
        sigset_t before_;
    };
};

}  // namespace w64
