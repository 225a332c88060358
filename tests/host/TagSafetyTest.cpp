#include "HostWorkshop.h"
#include "TagBytes.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/InputFile.h"
#include "host/files/Replacement.h"
#include "host/tagging/KeptChunks.h"
#include "host/terminal/Failure.h"
#include "settings/XRegistry.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace {

using TagSafety = HostTest;

namespace fs = std::filesystem;
using Names = std::set<std::string>;

// Edits that move the audio of a file and lead from each other's result to the next.
class MeddledEdit : public HostTest {
protected:
    struct Step {
        std::string edit, before = {}, after = {};
    };

    void SetUp() override {
        const Bytes audio = Pattern(90'000);
        shop.Configure("LISTPos=1 LISTPadding=2");
        Put(Recording(audio).Chunk("levl", Pattern(99)).File());
        for (Step& step : steps) {
            step.before = File();
            ASSERT_EQ(shop.Run("w64 -q tags " + step.edit).errors, "");
            const std::string decode = "w64 check -q a.w64 && w64 decode a.w64 -o - --format raw";
            ASSERT_TRUE(shop.Do(decode).output == std::string(audio.begin(), audio.end()));
            step.after = File();
        }
    }

    std::string File() const { return ReadText(shop.Path() / "a.w64"); }
    template <class Contents>
    void Put(const Contents& file) const {
        shop.Write("a.w64", {file.begin(), file.end()});
    }

    // Edits the file once for every change that this makes to a file, and runs a command before that change.
    template <class Look>
    void AtEveryChange(const Step& step, const std::string& how, const std::string& meanwhile,
                       const Look& look) {
        for (int change = 1; !HasFailure(); ++change) {
            SCOPED_TRACE(step.edit.substr(0, 30) + how + " at " + std::to_string(change));
            Put(step.before);
            const Outcome outcome =
                shop.Run(Meanwhile("touch met; " + meanwhile, change) + "w64 -q tags " + step.edit + how);
            if (!fs::remove(shop.Path() / "met")) {
                EXPECT_EQ(outcome.errors, "");
                EXPECT_GT(change, 3);
                return;
            }
            look(outcome);
        }
    }

    Step steps[3] = {{"set a.w64 Artist=A Title=" + std::string(5000, 't')},
                     {"remove a.w64 Title"},
                     {"remove a.w64 --all"}};
};

}  // namespace

TEST_F(MeddledEdit, InterruptedLeavesNothingBehind) {
    const std::string signal = "$(echo INT TERM HUP | cut -d\" \" -f$((FAULT_AT % 3 + 1)))";  // in turn
    AtEveryChange(steps[0], "", "kill -" + signal + " $PPID", [&](const Outcome& outcome) {
        const bool isTold =
            std::set<int>({128 + SIGINT, 128 + SIGTERM, 128 + SIGHUP}).count(outcome.status) == 1;
        EXPECT_TRUE(File() == steps[0].after || (isTold && File() == steps[0].before)) << outcome.status;
        EXPECT_EQ(shop.Files(), Names{"a.w64"});
    });
}

// Whatever the signals, and however long after each other they come.
TEST_F(MeddledEdit, InPlaceIsNotCutShort) {
    const char* const last[] = {"USR1", "HUP", "QUIT"};
    for (size_t i = 0; i < 3; ++i) {
        const std::string signals =
            std::string("kill -INT $PPID; kill -TERM $PPID; kill -") + last[i] + " $PPID";
        AtEveryChange(steps[i], " --in-place", signals, [&](const Outcome& outcome) {
            EXPECT_TRUE(outcome.status > 128 && (outcome.status == 128 + SIGUSR1) == (i == 0))
                << outcome.status;
            EXPECT_HAS("w64: cannot stop now, the file is being edited in place", outcome.errors);
            EXPECT_TRUE(File() == steps[i].after);
        });
    }
}

TEST_F(MeddledEdit, OfTwoAtOnceNoneIsLost) {
    const std::string other = "w64 tags set a.w64 Artist=Other";
    const Bytes roomy =
        Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("junk", Bytes(4072)).Data(Pattern(600)).File();
    for (const std::string& before : {steps[0].before, std::string(roomy.begin(), roomy.end())}) {
        const Step step = {"set a.w64 Title=One", before};
        const auto after = [&](const std::string& commands) {
            Put(before);
            shop.Do(commands);
            return File();
        };
        const std::string first = "w64 tags " + step.edit;
        // Whether the first one and the other one fail, and what is in the file.
        const std::tuple<bool, bool, std::string> results[] = {{false, true, after(first)},
                                                               {true, false, after(other)},
                                                               {false, false, after(first + " && " + other)},
                                                               {false, false, after(other + " && " + first)}};
        for (const char* how : {"", " --in-place"}) {
            AtEveryChange(step, how, other + " || touch failed", [&](const Outcome& outcome) {
                const bool hasOtherFailed = fs::remove(shop.Path() / "failed");
                const std::tuple result(outcome.status != 0, hasOtherFailed, File());
                EXPECT_NE(std::ranges::find(results, result), std::end(results))
                    << outcome.status << hasOtherFailed << outcome.errors;
                EXPECT_EQ(shop.Files(), Names{"a.w64"});
            });
        }
    }
}

TEST_F(TagSafety, WhatOthersWriteMeanwhileIsKept) {
    const fs::path file = shop.Path() / "a.w64";
    const std::function<void()> changes[] = {
        [&] { std::ofstream(file, std::ios::app) << "more"; },
        [&] { std::ofstream(file, std::ios::in).seekp(500).put('x'); },
        [&] {
            const auto time = fs::last_write_time(file);
            std::ofstream(file, std::ios::in).seekp(500).put('x');
            fs::last_write_time(file, time);
        },
        [&] {
            fs::copy_file(file, shop.Path() / "b.w64");
            fs::rename(shop.Path() / "b.w64", file);
        },
    };
    Console console({.quiet = true});
    for (const auto& change : changes) {
        shop.Write("a.w64", Recording(Pattern(600)).File());
        LockedFile original(file);
        Replacement replacement(original, console);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // file systems count time in steps
        change();
        const Bytes theirs = shop.Read("a.w64");
        EXPECT_THROW(replacement.Commit(), Failure);
        EXPECT_EQ(shop.Read("a.w64"), theirs);
    }
    shop.Write("a.w64", Recording(Pattern(600)).File());
    LockedFile original(file);
    Replacement(original, console).Commit();
}

TEST_F(TagSafety, AnEditThatFailsEndsWithItsSettings) {
    XRegistry::SetRegFileLocation(FromUTF8((shop.Path() / "settings").native()), true);
    ASSERT_TRUE(XRegistry::SetDWORD(static_cast<uint32_t>(LISTText::Wide), TaggingOptions::LISTTextName,
                                    XRegistry::CurrentUser, TaggingOptions::KeyPath));
    OwnSettings settings;
    const auto fail = [&] {
        const OwnSettings::Edit edit(settings, {}, {});
        EXPECT_EQ(TaggingOptions::Read().text, LISTText::Wide);
        throw Failure("");
    };
    EXPECT_THROW(fail(), Failure);
    EXPECT_EQ(TaggingOptions::Read().text, LISTText::UTF16);
}

TEST_F(TagSafety, AFullDiskChangesNothing) {
    const Bytes file = Recording(Pattern(60'000)).File();
    const auto tryWithMoreAndMore = [&](const std::string& room, size_t from, size_t step, const char* how) {
        const std::string set = " && w64 -q tags set a.w64 Title=" + std::string(10'000, 't') + how;
        shop.Write("a.w64", file);
        for (size_t i = 0; i < 100; ++i) {
            const std::string size = std::to_string(from + i * step);
            SCOPED_TRACE(room + size);
            const Outcome outcome = shop.Run((room + size).append(set));
            if (outcome.status == 0) break;
            EXPECT_TRUE(outcome.errors.starts_with("w64: a.w64: cannot ") ||
                        outcome.errors.find("disk full?") != std::string::npos)
                << outcome.errors;
            ASSERT_EQ(outcome.status, 1);
            ASSERT_TRUE(shop.Contents() == (Folder{{"a.w64", file}}));
            ASSERT_LT(i, 99u);
        }
        EXPECT_EQ(shop.Tags("a.w64"), "Title=" + std::string(10'000, 't'));
    };
    const char* const ways[] = {"", " --in-place"};
    for (const char* how : ways) tryWithMoreAndMore("ulimit -f ", 8, 15, how);

    if (shop.Run("mount -t tmpfs none .").status != 0) GTEST_SKIP() << "no file systems can be mounted here";
    const std::string remount = "mount -o remount none . -o size=";
    for (const char* how : ways) tryWithMoreAndMore(remount, file.size() + 4096, 12288, how);
    EXPECT_EQ(shop.Run("umount -l .").status, 0);
}

TEST_F(TagSafety, ALockHeldElsewhereIsRespected) {
    const fs::path file = shop.Write("a.w64", Recording(Pattern(600)).File());
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    for (const int lock : {LOCK_SH, LOCK_EX}) {
        ASSERT_EQ(::flock(descriptor, lock), 0);
        shop.ExpectRefused({{"tags set a.w64 Title=x", 1, "other program"},
                            {"tags remove a.w64 --all", 1, "other program"},
                            {"tags set a.w64 Year=1 --in-place", 1, "other program"}});
    }
    ::close(descriptor);
    EXPECT_EQ(shop.Run("w64 -q tags set a.w64 Title=x").errors, "");
}

TEST_F(TagSafety, TheCheckOfACopySeesEveryByteThatIsToStay) {
    constexpr size_t audio = 3 << 19;  // one and a half blocks
    constexpr size_t dataAt = 816;
    constexpr size_t levlAt = dataAt + 24 + audio;
    const Bytes list = List({{"INAM", Text(u"Song")}});
    const Bytes good = Recording(Pattern(audio)).Chunk("levl", Pattern(9)).SummaryList(list).File();
    InputFile original(shop.Write("a", good));
    const KeptChunks before(original);
    const std::pair<size_t, std::string> flips[] = {
        {64, "the chunk 'fmt ' at 40 has different bytes"},
        {88, "the chunk 'bext' at 88 is missing"},
        {dataAt - 4, "the chunk 'bext' at 88 has different bytes"},
        {dataAt + 24, "the chunk 'data' at 816 has different bytes"},
        {levlAt - 1, "the chunk 'data' at 816 has different bytes"},
        {levlAt + 16, "its layout is not sound"},
        {levlAt + 32, "the chunk 'levl' at 1,573,704 has different bytes"},
        {levlAt + 40, "the chunk '"},  // the list, which becomes another chunk
        {good.size() - 4, ""},         // the song
    };
    for (const auto& [at, told] : flips) {
        Bytes changed = good;
        changed[at] ^= 1;
        InputFile copy(shop.Write("b", changed));
        std::string difference;
        try {
            const KeptChunks after(copy);
            difference = before.DifferenceTo(after);
            if (difference.empty()) difference = before.DifferenceOfBytes(original, after, copy);
        } catch (const Failure& failure) {
            difference = failure.what();
        }
        EXPECT_HAS(told, difference);
        EXPECT_EQ(difference.empty(), told.empty());
    }
}

}  // namespace w64
