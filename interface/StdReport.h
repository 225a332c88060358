#pragma once

#include "base/XStr.h"
#include "interface/w64_decoder.h"

#include <atomic>
#include <concepts>
#include <mutex>
#include <string_view>

namespace w64 {

// All three channels are standard error.
STNStdReport StdReportToStdErr();

// The report channels: errors, information, and an indented trace of calls that also copies both.
// A routine announces itself with "->->" and a successful exit with "<-<-"; lines in between are indented by
// two spaces per open level. Lines end in "\r\n"; text goes out as UTF-8, one write call each.
// Threads: any; indentation and the trace are serialised process-wide, so traces of several instances share
//          one level. Errors: none; a report that cannot be written does not fail the caller.
class StdReport {
public:
    // One piece of the trace. With `endLine` the function name, if any, follows in brackets and the line
    // ends; without it the next piece continues the line. A null prefix means the current indentation.
    static void WriteDEBUG(std::wstring_view message, const STNStdReport& report, const char* functionName,
                           bool endLine, const wchar_t* prefix = nullptr);

    // The same for a text that is expensive to build: `build` is called only if the trace has a reader. The
    // text is never an entry or exit marker; pass one as `marker` to put it in front.
    template <std::invocable Build>
    static void WriteDEBUG(const Build& build, const STNStdReport& report, const char* functionName,
                           bool endLine = true) {
        if (HasOutput(report.Debug)) {
            WriteDEBUG(build(), report, functionName, endLine);
        } else if (LastWasCRLF != endLine) {  // else nothing changes
            KeepTrack(endLine);
        }
    }
    template <std::invocable Build>
    static void WriteDEBUG(std::wstring_view marker, const Build& build, const STNStdReport& report,
                           const char* functionName) {
        WriteDEBUG(HasOutput(report.Debug) ? XStr(marker) + build() : XStr(marker), report, functionName,
                   true);
    }

    static void WriteINFO(std::wstring_view message, const STNStdReport& report, const char* functionName);
    static void WriteERROR(std::wstring_view message, const STNStdReport& report, const char* functionName);

    // Writes the error and returns false, which is what the failing function returns.
    [[nodiscard]] static bool Fail(std::wstring_view message, const STNStdReport& report,
                                   const char* functionName);

    static XStr GetFinalMsg(std::wstring_view prefix, std::wstring_view message, const char* functionName,
                            bool endLine);
    static void WriteFile(intptr_t handle, std::wstring_view text);

    static bool HasOutput(intptr_t handle) { return handle != 0 && handle != -1; }

private:
    static void WriteLine(std::wstring_view message, const STNStdReport& report, const char* functionName,
                          const wchar_t* prefix, intptr_t handle);
    static void KeepTrack(bool endLine);

    static std::mutex Access;
    static size_t SpaceAdder;              // characters of the current indentation; failures leave theirs
    static std::atomic<bool> LastWasCRLF;  // written under the lock
};

}  // namespace w64
