#pragma once

#include "host/commandline/CommandLine.h"

#include <string>
#include <vector>

namespace w64 {

enum class FilesInFolders {
    Wave64,
    Audio,       // Wave64 too
    OtherAudio,  // all but Wave64
};

// Adds -r: each folder among `files` then stands for the files of that kind in it and in its folders, in the order of
// their names. Hidden ones are left out.
void AddFolders(CLI::App* command, CommandLine& line, std::vector<std::string>& files, FilesInFolders kind);

}  // namespace w64
