#pragma once

#include "host/commandline/CommandLine.h"

namespace w64 {

// Each adds a command to the command line.
void AddDecode(CLI::App& app, CommandLine& line);
void AddInfo(CLI::App& app, CommandLine& line);
void AddChunks(CLI::App& app, CommandLine& line);
void AddCheck(CLI::App& app, CommandLine& line);
void AddRepair(CLI::App& app, CommandLine& line);
void AddCopy(CLI::App& app, CommandLine& line);
void AddSplit(CLI::App& app, CommandLine& line);
void AddMD5(CLI::App& app, CommandLine& line);
void AddCompare(CLI::App& app, CommandLine& line);
void AddStats(CLI::App& app, CommandLine& line);
void AddTags(CLI::App& app, CommandLine& line);
void AddOptions(CLI::App& app, CommandLine& line);
void AddEncode(CLI::App& app, CommandLine& line);
void AddSample(CLI::App& app, CommandLine& line);
void AddPlot(CLI::App& app, CommandLine& line);
void AddReport(CLI::App& app, CommandLine& line);

// Commands of `tags`.
void AddTagExport(CLI::App* tags, CommandLine& line);
void AddTagEdits(CLI::App* tags, CommandLine& line);

}  // namespace w64
