#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/RepairPlan.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/StandardOutput.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <vector>

namespace w64 {

namespace {

constexpr const char* kAboutCheck =
    "What is wrong endangers the audio, or programs that read or edit the file;\n"
    "the exit code is then 1. What is odd does no harm; -q hides it.\n"
    "Nothing is changed, and the audio itself is not checked.\n\n";

struct CheckOptions {
    std::vector<std::string> inputs;
};

using Findings = std::vector<LayoutFinding>;

bool HaveFaults(const Findings& findings) { return std::ranges::any_of(findings, &LayoutFinding::isFault); }

const char* Verdict(const Findings& findings) {
    if (HaveFaults(findings)) return "wrong";
    return findings.empty() ? "sound" : "sound, but odd";
}

void PrintFindings(const Findings& findings, bool faults) {
    for (const LayoutFinding& finding : findings) {
        if (finding.isFault != faults) continue;
        std::cout << (faults ? "  wrong  " : "  odd    ") << finding.text;
        if (finding.alike != 0) std::cout << " And " << Grouped(finding.alike) << " more like it.";
        std::cout << "\n";
    }
}

bool CanBeRepaired(InputFile& file) try {
    return !PlanRepair(file).edit.ChangesNothing();
} catch (const Failure&) {
    return false;
}

void Print(const std::string& name, InputFile& file, const LayoutCheck& check, const Findings& findings,
           bool faultsOnly) {
    if (faultsOnly && !HaveFaults(findings)) return;
    std::cout << Visible(name) << ": " << Verdict(findings) << " (" << check.Summary() << ")\n";
    PrintFindings(findings, true);
    if (!faultsOnly) PrintFindings(findings, false);
    if (check.HasFaults() && CanBeRepaired(file)) {
        std::cout << "  w64 repair makes it sound.\n";
    } else if (check.CallsForSalvage()) {
        std::cout << "  w64 decode --salvage keeps the audio that is there.\n";
    }
}

bool CheckCommand(const CheckOptions& options, CommandContext context) {
    bool allSound = true;
    const bool allDone = ForEachFile(options.inputs, 1, context.console, [&](size_t i) {
        const std::string& name = options.inputs[i];
        Findings findings;
        if (HasInterruptedEdit(name)) {
            findings.push_back({true, "An edit of the file was interrupted; w64 repair finishes it."});
        }
        InputFile file(name);
        const LayoutCheck check(file);
        std::ranges::copy(check.Findings(), std::back_inserter(findings));
        Print(name, file, check, findings, context.console.IsQuiet());
        allSound = allSound && !HaveFaults(findings);
    });
    FlushStandardOutput();
    return allDone && allSound;
}

}  // namespace

void AddCheck(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<CheckOptions>();
    CLI::App* command = app.add_subcommand("check", "Report what is wrong or odd about a file's layout");
    line.OnCommand(command, CheckCommand, options);
    AddFiles(command, options.inputs);
    SetFooter(command, kAboutCheck);
}

}  // namespace w64
