#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/layout/LayoutCheck.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/StandardOutput.h"

#include <iostream>

namespace w64 {

namespace {

const char* Verdict(const LayoutCheck& check) {
    if (check.HasFaults()) return "wrong";
    return check.Findings().empty() ? "sound" : "sound, but odd";
}

void PrintFindings(const LayoutCheck& check, bool faults) {
    for (const LayoutFinding& finding : check.Findings()) {
        if (finding.isFault != faults) continue;
        std::cout << (faults ? "  wrong  " : "  odd    ") << finding.text;
        if (finding.alike != 0) std::cout << " And " << Grouped(finding.alike) << " more like it.";
        std::cout << "\n";
    }
}

void Print(const std::string& name, const LayoutCheck& check, bool faultsOnly) {
    if (faultsOnly && !check.HasFaults()) return;
    std::cout << Visible(name) << ": " << Verdict(check) << " (" << check.Summary() << ")\n";
    PrintFindings(check, true);
    if (!faultsOnly) PrintFindings(check, false);
    if (check.CallsForSalvage()) std::cout << "  w64 decode --salvage keeps the audio that is there.\n";
}

}  // namespace

bool CheckCommand(const LayoutOptions& options, CommandContext context) {
    bool allSound = true;
    const bool allDone = ForEachFile(options.inputs, 1, context.console, [&](size_t i) {
        InputFile file(options.inputs[i]);
        const LayoutCheck check(file);
        Print(options.inputs[i], check, context.console.IsQuiet());
        allSound = allSound && !check.HasFaults();
    });
    FlushStandardOutput();
    return allDone && allSound;
}

}  // namespace w64
