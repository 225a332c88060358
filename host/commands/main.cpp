#include "host/commands/Program.h"

int main(int argc, char** argv) { return w64::RunProgram(argc, argv); }
