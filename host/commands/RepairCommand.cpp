#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/files/FileCopy.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/files/OutputFile.h"
#include "host/layout/RepairPlan.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Progress.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

namespace w64 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAboutRepair =
    "A recording whose recorder lost power, or that was cut off, becomes a sound file:\n"
    "sizes and padding are set right, in an instant and under a journal, and all chunks\n"
    "stay. Of the audio only a part of a frame goes. w64 check tells beforehand what is\n"
    "wrong. Nothing is changed if bytes that may be of value would be lost.\n\n"
    "An edit that a crash or a power failure interrupts leaves its journal next to the\n"
    "file, as .NAME.w64-journal. It is finished first, as every command that edits does.\n"
    "--journal is for a file that was renamed since.\n\n"
    "  w64 repair take.w64\n"
    "  w64 repair --dry-run *.w64\n\n";

struct RepairOptions {
    std::vector<std::string> inputs;
    std::string output;   // for a repaired copy of the only input; empty to repair in place
    std::string journal;  // of an edit of the only input; empty for the one next to each
    bool dryRun = false;
    bool json = false;
    bool force = false;
};

std::string DescribeKept(const RepairPlan& plan) {
    const std::string duration = FormatDuration(plan.milliseconds);
    return plan.frames ? Counted(*plan.frames, "frame") + " (" + duration + ")" : duration + " of audio";
}

bool HasJournal(const std::string& name) {
    std::error_code error;
    const fs::path path = fs::canonical(name, error);
    return Journal::Of(error ? fs::path(name) : path).IsThere();
}

class Repair {
public:
    Repair(const RepairOptions& options, CommandContext context) : options_(options), context_(context) {}

    // What was found and done.
    RepairPlan Run(const std::string& name) {
        if (options_.dryRun) return Look(name);
        return options_.output.empty() ? Mend(name) : WriteMended(name);
    }

    const char* Verdict(const RepairPlan& plan) const {
        if (plan.mended.empty()) return "sound";
        return options_.dryRun ? "can be repaired" : "repaired";
    }

private:
    static RepairPlan Look(const std::string& name) {
        RepairPlan plan;
        if (HasInterruptedEdit(name)) {
            plan.mended = {kInterruptedEdit};
            return plan;
        }
        InputFile file(name);
        return PlanRepair(file);
    }

    RepairPlan Mend(const std::string& name) {
        if (options_.journal.empty() && !HasJournal(name)) {
            InputFile file(name);
            RepairPlan plan = PlanRepair(file);
            if (plan.edit.ChangesNothing()) return plan;  // it may be read-only
        }
        // An edit in place can be interrupted where there are no locks. To finish it twice does no harm.
        LockedFile file(name, LockedFile::Lock::WherePossible);
        const bool isNamed = !options_.journal.empty();
        const Journal journal = isNamed ? Journal(options_.journal) : Journal::Of(file.Path());
        if (isNamed && !journal.Read()) {
            throw Failure("'" + options_.journal + "' is not the whole journal of an edit");
        }
        FinishInterruptedEdit(file, journal, context_.console);
        RepairPlan plan = PlanRepair(file.File());
        try {
            if (!plan.edit.ChangesNothing()) MakeJournalledEdit(file, plan.edit);
        } catch (const JournalFailure& failure) {
            throw Failure(std::string(failure.what()) + "; with -o, a repaired copy is written elsewhere");
        }
        return plan;
    }

    RepairPlan WriteMended(const std::string& name) {
        if (HasInterruptedEdit(name))
            throw Failure("an edit was interrupted; w64 repair without -o finishes it");
        RefuseToReplaceInput(name, options_.output);
        InputFile file(name);
        RepairPlan plan = PlanRepair(file);
        if (plan.edit.ChangesNothing()) return plan;
        OutputFile output(options_.output, options_.force);
        const int64_t bytes = std::min(plan.edit.lengthBefore, plan.edit.lengthAfter);
        Progress progress(context_.console, name, 1);
        Progress::Share share(progress, bytes);
        CopyBeginning(file, output.File(), bytes, [&share](int64_t copied) { share.Advance(copied); });
        plan.edit.Apply(output.File());
        output.Commit();
        return plan;
    }

    const RepairOptions& options_;
    CommandContext context_;
};

void Print(const std::string& name, const char* verdict, const RepairPlan& plan) {
    std::cout << Visible(name) << ": " << verdict;
    if (!plan.summary.empty()) std::cout << " (" << plan.summary << ")";
    std::cout << "\n";
    for (const std::string& text : plan.mended) std::cout << "  wrong  " << text << "\n";
    for (const std::string& text : plan.losses) std::cout << "  lost   " << text << "\n";
    if (!plan.edit.ChangesNothing()) std::cout << "  kept   " << DescribeKept(plan) << "\n";
}

void Describe(const char* verdict, const RepairPlan& plan, Json& json) {
    json["status"] = verdict;
    json["wrong"] = plan.mended;
    json["lost"] = plan.losses;
    if (plan.edit.ChangesNothing()) return;
    if (plan.frames) json["frames"] = *plan.frames;
    json["milliseconds"] = plan.milliseconds;
}

bool RepairCommand(const RepairOptions& options, CommandContext context) {
    const bool isForOne = !options.journal.empty() || !options.output.empty();
    if (isForOne && options.inputs.size() != 1) throw UsageError("-o and --journal are for a single file");
    if (isForOne && options.dryRun) throw UsageError("--dry-run goes with neither -o nor --journal");
    bool allSound = true;
    Repair repair(options, context);
    const bool allDone =
        ReportOnFiles(options.inputs, options.json, context.console, [&](size_t i, Json* json) {
            const RepairPlan plan = repair.Run(options.inputs[i]);
            allSound = allSound && plan.mended.empty();
            if (json) {
                Describe(repair.Verdict(plan), plan, *json);
            } else if (!context.console.IsQuiet()) {
                Print(options.inputs[i], repair.Verdict(plan), plan);
            }
        });
    return allDone && (allSound || !options.dryRun);
}

}  // namespace

void AddRepair(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<RepairOptions>();
    CLI::App* command = app.add_subcommand("repair", "Make damaged recordings sound files");
    line.OnCommand(command, RepairCommand, options);
    AddFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Wave64);
    command->add_option("-o,--output", options.output, "Write a repaired copy, and leave FILE as it is")
        ->type_name("OUT");
    command->add_flag("-n,--dry-run", options.dryRun, "Only say what would be done; exit code 1 if anything");
    AddForce(command, options.force);
    command->add_option("--journal", options.journal, "The journal of an edit; default: the one next to FILE")
        ->type_name("JOURNAL");
    AddJSON(command, options.json);
    SetFooter(command, kAboutRepair);
}

}  // namespace w64
