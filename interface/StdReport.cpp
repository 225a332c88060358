#include "interface/StdReport.h"

#include <algorithm>
#include <unistd.h>

namespace w64 {

std::mutex StdReport::Access;
size_t StdReport::SpaceAdder = 0;
std::atomic<bool> StdReport::LastWasCRLF = false;

STNStdReport StdReportToStdErr() { return {STDERR_FILENO, STDERR_FILENO, STDERR_FILENO}; }

void StdReport::WriteDEBUG(std::wstring_view message, const STNStdReport& report, const char* functionName,
                           bool endLine, const wchar_t* prefix) {
    const std::lock_guard lock(Access);
    if (message.starts_with(L"<-<-")) SpaceAdder -= std::min<size_t>(2, SpaceAdder);
    if (HasOutput(report.Debug)) {
        const XStr indentation(LastWasCRLF ? SpaceAdder : 0, L' ');
        WriteFile(report.Debug,
                  GetFinalMsg(prefix ? prefix : indentation.c_str(), message, functionName, endLine));
    }
    if (message.starts_with(L"->->")) SpaceAdder += 2;
    LastWasCRLF = endLine;
}

void StdReport::WriteINFO(std::wstring_view message, const STNStdReport& report, const char* functionName) {
    WriteLine(message, report, functionName, L"*** Information: ", report.Information);
}

void StdReport::WriteERROR(std::wstring_view message, const STNStdReport& report, const char* functionName) {
    WriteLine(message, report, functionName, L"*** Error: ", report.Error);
}

bool StdReport::Fail(std::wstring_view message, const STNStdReport& report, const char* functionName) {
    WriteERROR(message, report, functionName);
    return false;
}

XStr StdReport::GetFinalMsg(std::wstring_view prefix, std::wstring_view message, const char* functionName,
                            bool endLine) {
    XStr line(prefix);
    line += message;
    if (!endLine) return line;
    if (functionName) line += L"  [" + Widen(functionName) + L"]";
    return line += L"\r\n";
}

void StdReport::WriteFile(intptr_t handle, std::wstring_view text) {
    if (!HasOutput(handle)) return;
    const std::string bytes = ToUTF8(text);
    [[maybe_unused]] const auto written = ::write(static_cast<int>(handle), bytes.data(), bytes.size());
}

void StdReport::WriteLine(std::wstring_view message, const STNStdReport& report, const char* functionName,
                          const wchar_t* prefix, intptr_t handle) {
    WriteDEBUG(message, report, functionName, true, prefix);
    if (HasOutput(handle)) WriteFile(handle, GetFinalMsg(L"", message, functionName, true));
}

void StdReport::KeepTrack(bool endLine) {
    const std::lock_guard lock(Access);
    LastWasCRLF = endLine;
}

}  // namespace w64
