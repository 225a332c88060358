#include "host/commandline/StreamInput.h"

#include "host/files/StandardInput.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace w64 {

namespace {

constexpr const char* kArgument = "-";
constexpr const char* kName = "standard input";

// Reports what stops it, and returns whether there is a file.
bool Keep(std::optional<StandardInput>& input, Console& console) try {
    input.emplace();
    return true;
} catch (const Interrupt&) {
    return false;
} catch (const std::exception& failure) {
    console.Error(kName, ReasonOf(failure));
    return false;
}

}  // namespace

void AddStandardInput(CLI::App* command, CommandLine& line, const char* argument,
                      std::vector<std::string>& files, std::function<bool()> namesOutput) {
    CLI::Option* option = command->get_option(argument);
    option->description(option->get_description() + "; - for standard input");
    auto& input = line.Keep<std::optional<StandardInput>>();
    line.preparations.emplace_back(
        [&line, &files, &input, namesOutput = std::move(namesOutput)](Console& console) {
            const auto file = std::ranges::find(files, kArgument);
            if (file == files.end()) return true;
            if (std::find(file + 1, files.end(), kArgument) != files.end()) {
                throw UsageError("standard input can be read only once");
            }
            if (namesOutput && !namesOutput()) {
                throw UsageError("standard input has no name to call the output after; -o OUT names it");
            }
            if (Keep(input, console)) {
                *file = input->Path();
                console.Rename(*file, kName);
                return true;
            }
            files.erase(file);
            if (files.empty()) line.HaveNoWork();
            return false;
        });
}

}  // namespace w64
