#pragma once

#include "host/commandline/CommandLine.h"

#include <functional>
#include <string>
#include <vector>

namespace w64 {

// Lets one of `files`, the positional argument `argument`, be "-" for standard input. A command that makes a file of
// each says by `namesOutput` whether that file has a name of its own.
void AddStandardInput(CLI::App* command, CommandLine& line, const char* argument,
                      std::vector<std::string>& files, std::function<bool()> namesOutput = {});

// For the end of a command's help.
constexpr const char* kAboutStandardInput =
    "A stream on standard input is first kept in a temporary file without a name, in the\n"
    "folder TMPDIR.\n\n";

}  // namespace w64
