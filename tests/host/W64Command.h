#pragma once

#include "TempFolder.h"

#include <csignal>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// What one run of a program left behind.
struct Outcome {
    int status = -1;  // exit status, 128 plus the signal when killed
    std::string output;
    std::string errors;
    long peakKilobytes = 0;
};

// A folder to run programs in, the `w64` command first of all.
class Workshop : public TempFolder {
public:
    Outcome W64(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {W64_COMMAND};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return Run(words);
    }

    Outcome Run(std::vector<std::string> words) const {
        const TempFolder streams;  // so that nothing but the command's own files is in the folder
        const pid_t child = ::fork();
        if (child == 0) {
            Redirect(streams.Path() / "output", STDOUT_FILENO);
            Redirect(streams.Path() / "errors", STDERR_FILENO);
            std::vector<char*> pointers;
            pointers.reserve(words.size() + 1);
            for (std::string& word : words) pointers.push_back(word.data());
            pointers.push_back(nullptr);
            if (::chdir(Path().c_str()) == 0) ::execvp(pointers[0], pointers.data());
            ::_exit(127);
        }
        Outcome outcome;
        int status = 0;
        rusage usage{};
        if (::wait4(child, &status, 0, &usage) != child) return outcome;
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        outcome.output = ReadText(streams.Path() / "output");
        outcome.errors = ReadText(streams.Path() / "errors");
        outcome.peakKilobytes = usage.ru_maxrss;
        return outcome;
    }

    Bytes Read(const std::string& name) const { return ReadBytes(Path() / name); }

    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Path()))
            names.insert(entry.path().filename());
        return names;
    }

private:
    static void Redirect(const std::filesystem::path& to, int descriptor) {
        ::dup2(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
    }
};
