#include "plugin/interface/StdReport.h"
#include "ReportCapture.h"

#include <gtest/gtest.h>

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

TEST_F(Trace, IndentsBetweenMarkersAndNeverBelowNothing) {
    StdReport::WriteDEBUG(L"<-<-", report, "Early", true);
    StdReport::WriteDEBUG(L"->->", report, "Outer", true);
    StdReport::WriteDEBUG(L"->-> with text", report, "Inner", true);
    StdReport::WriteDEBUG(L"line", report, nullptr, true);
    StdReport::WriteDEBUG(L"<-<-", report, "Inner", true);
    StdReport::WriteDEBUG(L"<-<-", report, "Outer", true);
    EXPECT_EQ(capture.Trace(), "<-<-  [Early]\r\n"
                               "->->  [Outer]\r\n"
                               "  ->-> with text  [Inner]\r\n"
                               "    line\r\n"
                               "  <-<-  [Inner]\r\n"
                               "<-<-  [Outer]\r\n");
}

TEST_F(Trace, PiecesMakeOneLine) {
    StdReport::WriteDEBUG(L"->->", report, "Open", true);
    StdReport::WriteDEBUG(L"Opening file '", report, "ignored", false);
    StdReport::WriteDEBUG(L"\u00E9.w64", report, nullptr, false);
    StdReport::WriteDEBUG(L"' for read access: ", report, nullptr, false);
    StdReport::WriteDEBUG(L"Opened", report, nullptr, true);
    EXPECT_EQ(capture.Trace(), "->->  [Open]\r\n  Opening file '\xC3\xA9.w64' for read access: Opened\r\n");
}

TEST_F(Trace, ErrorsAndInformationGoToTheirChannelAndTheTrace) {
    StdReport::WriteDEBUG(L"->->", report, "Open", true);
    StdReport::WriteERROR(L"bad", report, "Open");
    StdReport::WriteINFO(L"odd", report, "Open");
    EXPECT_EQ(capture.Errors(), "bad  [Open]\r\n");
    EXPECT_EQ(capture.Information(), "odd  [Open]\r\n");
    EXPECT_EQ(capture.Trace(), "->->  [Open]\r\n*** Error: bad  [Open]\r\n*** Information: odd  [Open]\r\n");
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
