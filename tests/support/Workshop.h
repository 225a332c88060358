#pragma once

#include "TempFolder.h"

#include <set>
#include <string>
#include <sys/wait.h>

namespace w64 {

// Output and status of a program.
struct Outcome {
    int status = -1;  // exit status, 128 plus the signal when killed
    std::string output;
    std::string errors;
};

// A folder to run command lines in, with the `w64` command at hand.
class Workshop : public TempFolder {
public:
    Outcome Run(const std::string& commandLine) const {
        const TempFolder streams;  // so that nothing but the command's own files is in the folder
        const auto output = streams.Path() / "output";
        const auto errors = streams.Path() / "errors";
        const auto programs = std::filesystem::path(W64_COMMAND).parent_path();
        const std::string line = "cd '" + Path().string() + "' && PATH='" + programs.string() +
                                 "':$PATH && (" + commandLine + ") >'" + output.string() + "' 2>'" +
                                 errors.string() + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(output), ReadText(errors)};
    }

    Bytes Read(const std::string& name) const { return ReadBytes(Path() / name); }

    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Path()))
            names.insert(entry.path().filename());
        return names;
    }
};

}  // namespace w64
