#include "interface/StdReport.h"
#include "ReportCapture.h"

#include <gtest/gtest.h>

namespace w64 {

namespace {

// The trace state is shared by the whole process; a test starts at no indentation and a fresh line.
class Trace : public testing::Test {
protected:
    Trace() {
        for (int i = 0; i < 10; ++i) StdReport::WriteDEBUG(L"<-<-", {}, nullptr, true);
    }
    ReportCapture capture;
    const STNStdReport report = capture.Report();
};

}  // namespace

TEST_F(Trace, IndentsBetweenMarkersAndMakesOneLineOfPieces) {
    StdReport::WriteDEBUG(L"<-<-", report, "Early", true);  // never negative
    StdReport::WriteDEBUG(L"->-> with text", report, "Outer", true);
    StdReport::WriteDEBUG(L"Opening '", report, "ignored", false);
    StdReport::WriteDEBUG(L"\u00E9.w64", report, nullptr, false);
    StdReport::WriteDEBUG(L"'", report, nullptr, true);
    StdReport::WriteERROR(L"bad", report, "Outer");
    StdReport::WriteINFO(L"odd", report, "Outer");
    StdReport::WriteDEBUG(L"<-<-", report, "Outer", true);
    EXPECT_EQ(capture.Errors(), "bad  [Outer]\r\n");
    EXPECT_EQ(capture.Information(), "odd  [Outer]\r\n");
    EXPECT_EQ(capture.Trace(), "<-<-  [Early]\r\n"
                               "->-> with text  [Outer]\r\n"
                               "  Opening '\xC3\xA9.w64'\r\n"
                               "*** Error: bad  [Outer]\r\n"
                               "*** Information: odd  [Outer]\r\n"
                               "<-<-  [Outer]\r\n");
}

TEST_F(Trace, KeepsTrackWhileNobodyListens) {
    const STNStdReport silent{0, -1, -1};
    StdReport::WriteDEBUG(L"->->", silent, "Quiet", true);
    StdReport::WriteDEBUG(L"half a line", silent, nullptr, false);
    StdReport::WriteDEBUG(L" continued", report, nullptr, true);  // no indentation within a line
    StdReport::WriteDEBUG(L"half a line", silent, nullptr, false);
    bool built = false;
    const auto build = [&] {
        built = true;
        return XStr(L"built");
    };
    StdReport::WriteDEBUG(build, silent, "F");
    EXPECT_FALSE(built);
    StdReport::WriteDEBUG(build, report, "F");
    EXPECT_EQ(capture.Trace(), " continued\r\n  built  [F]\r\n");
}

}  // namespace w64
