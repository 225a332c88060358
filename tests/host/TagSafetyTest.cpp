#include "HostWorkshop.h"
#include "TagBytes.h"
#include "host/decoder/OwnSettings.h"
#include "host/files/InputFile.h"
#include "host/files/Replacement.h"
#include "host/tagging/KeptChunks.h"
#include "host/terminal/Failure.h"
#include "host/terminal/Interrupt.h"
#include "settings/XRegistry.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace {

using TagSafety = HostTest;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Names = std::set<std::string>;

// A file of some size, and edits that move its audio and lead from each other's result to the next.
class SignalledEdit : public HostTest {
protected:
    struct Step {
        std::string edit, result = {};
    };

    void SetUp() override {
        const Bytes audio = Pattern(2'400'000);
        shop.Configure("LISTPos=1 LISTPadding=2");
        shop.Write("a.w64", Recording(audio).Chunk("levl", Pattern(99)).File());
        for (Step& step : steps) {
            const auto begin = Clock::now();
            ASSERT_EQ(shop.Run("w64 tags " + step.edit).errors, "");
            longest = std::max(longest, Clock::now() - begin);
            const std::string decoded =
                shop.Do("w64 check -q a.w64 && w64 decode a.w64 -o - --format raw").output;
            ASSERT_TRUE(Bytes(decoded.begin(), decoded.end()) == audio);
            step.result = File();
        }
        done = std::size(steps) - 1;
    }

    std::string File() const { return ReadText(shop.Path() / "a.w64"); }
    size_t Next() const { return (done + 1) % std::size(steps); }

    pid_t Start() const {
        const std::string line = "cd '" + shop.Path().string() + "' && exec '" + W64_COMMAND + "' tags " +
                                 steps[Next()].edit + " 2>/dev/null";
        const pid_t process = ::fork();
        if (process != 0) return process;
        ::setenv("XCLASS_XREGISTRY_LOCATION", shop.Settings().c_str(), 1);
        ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        ::_exit(127);
    }

    // Sends the signal at some moment of the next edit; returns how that ended.
    int Signal(int signal) {
        const pid_t process = Start();
        std::this_thread::sleep_for(longest * std::uniform_real_distribution<>(0, 1)(random));
        ::kill(process, signal);
        int status = 0;
        ::waitpid(process, &status, 0);
        const std::string file = File();
        const bool isNew = file == steps[Next()].result;
        EXPECT_TRUE(isNew || (status != 0 && file == steps[done].result)) << "after " << status;
        if (isNew) done = Next();
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    Step steps[3] = {{"set a.w64 Artist=A Title=" + std::string(5000, 't')},
                     {"remove a.w64 Title"},
                     {"remove a.w64 --all"}};
    size_t done = 0;
    Clock::duration longest{};
    std::mt19937 random{64};
};

}  // namespace

TEST_F(SignalledEdit, KilledLeavesTheOldFileOrTheNewOne) {
    int leftBehind = 0;
    for (int kills = 0; kills < 200 && !HasFailure();) {
        for (int i = 0; i < 10; ++i) kills += Signal(SIGKILL) == 128 + SIGKILL;
        Names copies = shop.Files();
        EXPECT_EQ(copies.erase("a.w64"), 1u);
        const Outcome next = shop.Run("w64 tags " + steps[Next()].edit);
        EXPECT_EQ(next.status, 0) << next.errors;
        done = Next();
        EXPECT_TRUE(File() == steps[done].result);
        for (const std::string& name : copies) {
            EXPECT_TRUE(name.starts_with(".w64-") && name.ends_with(".part")) << name;
            EXPECT_PRED_FORMAT2(IsSubstring, name + ": left over from a run that was killed", next.errors);
            leftBehind += fs::remove(shop.Path() / name);
        }
        EXPECT_EQ(shop.Files(), Names{"a.w64"});
    }
    EXPECT_GT(leftBehind, 20);  // else no kill has come while a copy was edited
}

TEST_F(SignalledEdit, InterruptedLeavesNothingBehind) {
    int interrupted = 0;
    for (size_t i = 0; i < 60; ++i) {
        const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[i % 3];
        const int status = Signal(signal);
        EXPECT_TRUE(status == 0 || status == 128 + signal) << status;
        EXPECT_EQ(shop.Files(), Names{"a.w64"});
        interrupted += status != 0;
    }
    EXPECT_GT(interrupted, 10);
}

TEST_F(SignalledEdit, InPlaceIsNotCutShort) {
    for (Step& step : steps) step.edit += " --in-place";
    const std::array signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM};
    int interrupted = 0;
    for (size_t i = 0; i < 40 && !HasFailure(); ++i) interrupted += Signal(signals[i % signals.size()]) != 0;
    EXPECT_GT(interrupted, 10);
}

TEST(Interrupt, NoSignalEndsTheProgramWhileItIsHeld) {
    const auto hold = [] {
        Interrupt::Install();
        {
            const Interrupt::Hold held;
            std::raise(SIGINT);
            std::this_thread::sleep_for(std::chrono::milliseconds(2100));  // nobody takes it for the same one
            for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR1}) std::raise(signal);
            static_cast<void>(!::write(STDERR_FILENO, "quit:\n", 6));
            std::raise(SIGQUIT);
            static_cast<void>(!::write(STDERR_FILENO, "done\n", 5));
        }
        std::_Exit(0);
    };
    EXPECT_EXIT(hold(), testing::KilledBySignal(SIGUSR1), "quit:\nw64: .* edited in place.*\ndone");
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
        Replacement replacement(file, console);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // file systems count time in steps
        change();
        const Bytes theirs = shop.Read("a.w64");
        EXPECT_THROW(replacement.Commit(), Failure);
        EXPECT_EQ(shop.Read("a.w64"), theirs);
    }
    shop.Write("a.w64", Recording(Pattern(600)).File());
    Replacement(file, console).Commit();
}

TEST_F(TagSafety, OneReadThatFailsLosesNothing) {
    const std::string edit = "w64 tags set a.wav --in-place Artist=Abba";
    const Bytes file = Recording(Pattern(600)).SummaryList(List({{"INAM", Text(u"Song")}})).File();
    shop.Write("a.wav", file);
    shop.Do(edit);
    const Bytes edited = shop.Read("a.wav");
    int failures = 0;
    for (int read = 0; read < 60; ++read) {
        SCOPED_TRACE(read);
        shop.Write("a.wav", file);
        const int status = shop.Run(WithFailingRead(read) + edit).status;
        EXPECT_TRUE(shop.Read("a.wav") == edited || (status == 1 && shop.Read("a.wav") == file));
        failures += status;
    }
    EXPECT_GT(failures, 10);
}

TEST_F(TagSafety, AnEditThatFailsEndsWithItsSettings) {
    XRegistry::SetRegFileLocation(FromUTF8((shop.Path() / "settings").native()), true);
    ASSERT_TRUE(XRegistry::SetDWORD(static_cast<uint32_t>(LISTText::Wide), TaggingOptions::LISTTextName,
                                    XRegistry::CurrentUser, TaggingOptions::KeyPath));
    OwnSettings settings;
    const auto fail = [&] {
        const OwnSettings::Edit edit(settings);
        EXPECT_EQ(TaggingOptions::Read().text, LISTText::Wide);
        throw Failure("");
    };
    EXPECT_THROW(fail(), Failure);
    EXPECT_EQ(TaggingOptions::Read().text, LISTText::UTF16);
}

TEST_F(TagSafety, AFullDiskChangesNothing) {
    const Bytes file = Recording(Pattern(60'000)).File();
    const auto tryWithMoreAndMore = [&](const std::string& room, size_t from, size_t step, const char* how) {
        const std::string set = " && w64 tags set a.w64 Title=" + std::string(10'000, 't') + how;
        const std::string copying = "cannot copy the file: ";
        Names met;
        shop.Write("a.w64", file);
        for (size_t i = 0; i < 100; ++i) {
            const std::string size = std::to_string(from + i * step);
            SCOPED_TRACE(room + size);
            const Outcome outcome = shop.Run((room + size).append(set));
            if (outcome.status == 0) break;
            const bool noCopy = outcome.errors.find(copying) != std::string::npos;
            EXPECT_PRED_FORMAT2(IsSubstring, noCopy ? copying : "disk full?", outcome.errors);
            ASSERT_EQ(outcome.status, 1);
            ASSERT_TRUE(shop.Contents() == (Folder{{"a.w64", file}}));
            met.insert(outcome.errors);
        }
        EXPECT_EQ(met.size(), *how ? 1u : 2u);  // no room for the copy, and none for what its edit adds
        EXPECT_EQ(shop.Tags("a.w64"), "Title=" + std::string(10'000, 't'));
    };
    const char* const ways[] = {"", " --in-place"};
    for (const char* how : ways) tryWithMoreAndMore("ulimit -f ", 8, 5, how);

    if (shop.Run("mount -t tmpfs none .").status != 0) GTEST_SKIP() << "no file systems can be mounted here";
    const std::string remount = "mount -o remount none . -o size=";
    for (const char* how : ways) tryWithMoreAndMore(remount, file.size() + 4096, 4096, how);
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
    EXPECT_EQ(shop.Run("w64 tags set a.w64 Title=x").errors, "");
}

TEST_F(TagSafety, OfTwoEditsAtOnceNoneIsLost) {
    const std::string edits[] = {"w64 tags set a.w64 Title=One", "w64 tags set a.w64 Artist=Other"};
    const Bytes file = Recording(Pattern(600'000)).File();
    const auto after = [&](const std::string& commands) {
        shop.Write("a.w64", file);
        shop.Do(commands);
        return shop.Read("a.w64");
    };
    const std::pair<std::string, Bytes> results[] = {
        {"0 1\n", after(edits[0])},
        {"1 0\n", after(edits[1])},
        {"0 0\n", after(edits[0] + " && " + edits[1])},
        {"0 0\n", after(edits[1] + " && " + edits[0])},
    };
    for (int delay = 0; delay < 30; ++delay) {
        shop.Write("a.w64", file);
        const Outcome both = shop.Run(edits[0] + " & sleep 0.0" + std::to_string(delay) + "; " + edits[1] +
                                      "; other=$?; wait $!; echo $? $other");
        EXPECT_NE(std::ranges::find(results, std::pair(both.output, shop.Read("a.w64"))), std::end(results))
            << both.output << both.errors;
        EXPECT_EQ(shop.Files(), Names{"a.w64"});
    }
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
        EXPECT_PRED_FORMAT2(IsSubstring, told, difference);
        EXPECT_EQ(difference.empty(), told.empty());
    }
}

}  // namespace w64
