#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"

namespace w64 {

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

}  // namespace w64
