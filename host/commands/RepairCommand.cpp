#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"

namespace w64 {

namespace {

constexpr const char* kAboutRepair =
    "An edit that a crash or a power failure interrupts leaves its journal next to the\n"
    "file, as .NAME.w64-journal. Every command that edits the file finishes it, and so\n"
    "does this one. --journal is for a file that was renamed since.\n\n";

struct RepairOptions {
    std::vector<std::string> inputs;
    std::string journal;  // of an edit of the only input; empty for the one next to each
};

bool RepairCommand(const RepairOptions& options, CommandContext context) {
    const bool isNamed = !options.journal.empty();
    if (isNamed && options.inputs.size() != 1) throw UsageError("--journal is for a single file");
    return ForEachFile(options.inputs, 1, context.console, [&](size_t i) {
        RequireReadable(options.inputs[i]);
        // An edit in place can be interrupted where there are no locks. To finish it twice does no harm.
        LockedFile file(options.inputs[i], LockedFile::Lock::WherePossible);
        const Journal journal = isNamed ? Journal(options.journal) : Journal::Of(file.Path());
        if (isNamed && !journal.Read()) {
            throw Failure("'" + options.journal + "' is not the whole journal of an edit");
        }
        FinishInterruptedEdit(file, journal, context.console);
    });
}

}  // namespace

void AddRepair(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<RepairOptions>();
    CLI::App* command = app.add_subcommand("repair", "Finish an edit that was interrupted");
    line.OnCommand(command, RepairCommand, options);
    AddFiles(command, options.inputs);
    command
        ->add_option("--journal", options.journal, "The journal of the edit; default: the one next to FILE")
        ->type_name("JOURNAL");
    SetFooter(command, kAboutRepair);
}

}  // namespace w64
