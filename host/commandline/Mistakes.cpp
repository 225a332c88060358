#include "host/commandline/Mistakes.h"

#include "host/commandline/NearestName.h"

#include <unistd.h>
#include <vector>

namespace w64 {

namespace {

std::string NoSuch(const char* what, const std::string& typed, const std::vector<std::string>& names,
                   const CLI::App& command) {
    return std::string("there is no ") + what + " '" + typed + "'; " +
           Suggestion(typed, names, "see " + TitleOf(command) + " --help");
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

// Options of the whole program may follow a command.
std::string NoOption(const std::string& argument, const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* app = &command; app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return NoSuch("option", argument.substr(0, argument.find('=')), names, command);
}

}  // namespace

std::string TitleOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent ? TitleOf(*parent) + " " : "") + command.get_name();
}

std::string NoCommand(const std::string& name, const CLI::App& app) {
    return NoSuch("command", name, CommandsOf(app), app);
}

std::string MistypedCommand(const CLI::App& app) {
    const CLI::Option* files = app.get_option_no_throw("FILE");
    if (!files || files->empty()) return "";
    const std::string& typed = files->results()[0];
    const bool isCommand = NearestName(typed, CommandsOf(app)) && ::access(typed.c_str(), F_OK) != 0;
    return isCommand ? NoCommand(typed, app) : "";
}

// A missing argument is often there, but mistyped.
std::string Explanation(const CLI::App& app, const CLI::Error& error) {
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) command = command->get_subcommands()[0];
    if (std::string mistyped = MistypedCommand(*command); !mistyped.empty()) return mistyped;
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    const auto unknown = app.remaining(true);
    if (!unknown.empty() && (code == CLI::ExitCodes::ExtrasError || code == CLI::ExitCodes::RequiredError)) {
        if (unknown[0].starts_with('-')) return NoOption(unknown[0], *command);
        if (command == &app) return NoCommand(unknown[0], app);
    }
    return std::string(error.what()) + "; see " + TitleOf(*command) + " --help";
}

}  // namespace w64
