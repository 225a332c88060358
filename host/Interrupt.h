#pragma once

// Ctrl-C and a polite kill. The first one asks the program to stop where it is and clean up; a second one
// ends it at once.
class Interrupt {
public:
    static void Install();

    // The signal that asked, 0 when none has.
    static int Signal();

    // Throws Interrupt when a signal has asked. Long loops call it once per block.
    static void Check();
};
