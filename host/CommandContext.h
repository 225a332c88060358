#pragma once

#include "host/Console.h"

#include <string>

// What every command works with.
struct CommandContext {
    Console& console;
    int traceDescriptor;        // 0 for none
    const std::string& plugin;  // a file or a folder; empty: beside the program
};
