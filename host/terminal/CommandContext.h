#pragma once

#include "host/terminal/Console.h"

#include <string>

namespace w64 {

// What every command needs.
struct CommandContext {
    Console& console;
    int traceDescriptor;        // 0 for none
    const std::string& plugin;  // a file or a folder; empty for the one next to the program
};

}  // namespace w64
