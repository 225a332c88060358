#pragma once

#include <cstdint>

// Where a component reports to: three file descriptors, each carried in a pointer-sized value. 0 and -1 both
// mean that a channel has no output. Passed by value or copied; whoever opened the descriptors closes them, and
// ignores SIGPIPE where one of them is a pipe whose reader may go away.
struct STNStdReport {
    intptr_t Error = 0;
    intptr_t Information = 0;
    intptr_t Debug = 0;  // the whole trace
};

static_assert(sizeof(STNStdReport) == 3 * sizeof(void*));
