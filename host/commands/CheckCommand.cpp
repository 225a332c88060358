#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/Folders.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/layout/LayoutCheck.h"
#include "host/layout/RepairPlan.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

namespace w64 {

namespace {

constexpr const char* kAboutCheck =
    "What is wrong endangers the audio, or programs that read or edit the file;\n"
    "the exit code is then 1. What is odd does no harm; -q hides it.\n"
    "Nothing is changed, and the audio itself is not checked.\n\n";

struct CheckOptions {
    std::vector<std::string> inputs;
    bool json = false;
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

void Describe(const LayoutCheck& check, const Findings& findings, Json& json) {
    json["verdict"] = Verdict(findings);
    json["summary"] = check.Summary();
    json["findings"] = Json::array();
    for (const LayoutFinding& finding : findings) {
        json["findings"].push_back({{"kind", finding.isFault ? "wrong" : "odd"}, {"text", finding.text}});
        if (finding.alike != 0) json["findings"].back()["alike"] = finding.alike;
    }
}

bool CheckCommand(const CheckOptions& options, CommandContext context) {
    bool allSound = true;
    const auto check = [&](size_t i, Json* json) {
        const std::string& name = options.inputs[i];
        Findings findings;
        if (HasInterruptedEdit(name)) {
            findings.push_back({true, kInterruptedEdit});
        }
        InputFile file(name);
        const LayoutCheck layout(file);
        std::ranges::copy(layout.Findings(), std::back_inserter(findings));
        if (json) {
            Describe(layout, findings, *json);
        } else {
            Print(name, file, layout, findings, context.console.IsQuiet());
        }
        allSound = allSound && !HaveFaults(findings);
    };
    return ReportOnFiles(options.inputs, options.json, context.console, check) && allSound;
}

}  // namespace

void AddCheck(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<CheckOptions>();
    CLI::App* command = app.add_subcommand("check", "Report what is wrong or odd about a file's layout");
    line.OnCommand(command, CheckCommand, options);
    AddFiles(command, options.inputs);
    AddFolders(command, line, options.inputs, FilesInFolders::Wave64);
    AddJSON(command, options.json);
    SetFooter(command, kAboutCheck);
}

}  // namespace w64
