#pragma once

#include "host/terminal/CommandContext.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace w64 {

// What a command does. It reports errors with a file on the console and returns whether all files are done.
// Errors: UsageError, before anything is done.
template <class Options>
using Work = bool (*)(const Options&, CommandContext);

// The command line of `w64`. The command that it names sets `work`.
struct CommandLine {
    bool quiet = false;
    std::string trace;
    std::string plugin;
    std::function<bool(CommandContext)> work;

    // Done before the work. False if something failed; the rest is worked on all the same.
    std::vector<std::function<bool(Console&)>> preparations;

    // Options of a command, which live as long as the command line.
    template <class Options>
    Options& Keep() {
        auto options = std::make_shared<Options>();
        kept_.push_back(options);
        return *options;
    }

    template <class Options>
    void Choose(Work<Options> command, const Options& options) {
        work = [command, &options](CommandContext context) { return command(options, context); };
    }

    template <class Options>
    void OnCommand(CLI::App* app, Work<Options> command, const Options& options) {
        app->final_callback([this, command, &options] { Choose(command, options); });
    }

    // Where the preparations left no file.
    void HaveNoWork() {
        work = [](CommandContext) { return false; };
    }

private:
    std::vector<std::shared_ptr<void>> kept_;
};

}  // namespace w64
