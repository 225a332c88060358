#pragma once

namespace w64 {

// The `w64` command: reads the command line, runs the command and returns the exit status.
// Errors: none; what is thrown is told on standard error.
int RunProgram(int argc, char** argv);

}  // namespace w64
