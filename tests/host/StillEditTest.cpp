#include "CrashStates.h"
#include "TagBytes.h"
#include "host/files/JournalledEdit.h"
#include "host/terminal/Failure.h"

#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

namespace w64 {

namespace {

namespace fs = std::filesystem;

constexpr const char* kNoLocks = "FAULT_CALLS=lock FAULT_AT=1 FAULT_TIMES=9";
constexpr const char* kJournal = ".a.w64.w64-journal";
const Bytes kList = List({{"INAM", Text(u"Song")}});
const Bytes kAudio = Pattern(6000);

Wave64Bytes Padded(size_t bytes, std::optional<uint64_t> dataSize = {}) {
    return Wave64Bytes()
        .Fmt(1, 2, 48000, 24)
        .Chunk("junk", Bytes(bytes))
        .Data(kAudio, dataSize)
        .Chunk("levl", Pattern(9));
}

struct Case {
    std::string options, edit;
    Bytes file;
};
// Edits of a recording that need not move its audio.
class StillEdit : public HostTest {
protected:
    // For a program whose changes to the disk are recorded.
    std::string Recorded(const std::string& more = {}) const {
        return WithFaults("FAULT_CALLS='create write truncate sync rename unlink' FAULT_FILES='" +
                          shop.Path().string() + "*' FAULT_LOG='" + Log() + "' " + more);
    }
    std::string Log() const { return other.Path() / "log"; }

    bool Repair() const try {
        Console console({.quiet = true});
        LockedFile file(shop.Path() / "a.w64", LockedFile::Lock::WherePossible);
        FinishInterruptedEdit(file, Journal::Of(file.Path()), console);
        return true;
    } catch (const Failure&) {
        return false;
    }

    // Makes the edit, recorded, and returns the edited file.
    Bytes Make(const Case& edit) const {
        fs::remove(shop.Settings());
        shop.Configure(edit.options);
        shop.Fill({{"a.w64", edit.file}});
        fs::remove(Log());
        shop.Do(Recorded() + "w64 -q " + edit.edit);
        return shop.Read("a.w64");
    }

    // Repairs the file in each state, and counts those where it is neither the old nor the new one.
    size_t RepairAll(const std::set<Folder>& states, const Bytes& old, const Bytes& edited) const {
        size_t between = 0;
        for (const Folder& state : states) {
            const bool isPlain = state.at("a.w64") == old || state.at("a.w64") == edited;
            between += !isPlain;
            shop.Fill(state);
            EXPECT_TRUE(Repair());
            EXPECT_TRUE(shop.Read("a.w64") == edited || (isPlain && shop.Read("a.w64") == old));
            EXPECT_EQ(shop.Files().count(kJournal), 0u);
        }
        return between;
    }

    const TempFolder other{};
};

const Case kCases[] = {
    {"", "tags set a.w64 Title=x", Padded(4072).File()},
    {"", "tags set a.w64 Artist=Somebody", Padded(4072).SummaryList(kList).File()},
    {"", "tags set a.w64 Comment=" + std::string(700, 'c'), Padded(0).SummaryList(kList).File()},
    {"", "tags set a.w64 Comment=" + std::string(200, 'c'),
     Padded(0).SummaryList(kList).Chunk("junk", Bytes(40)).File()},
    {"", "tags remove a.w64 --all", Padded(0).SummaryList(Pattern(900)).File()},
    {"", "tags set a.w64 --move Year=1", Padded(300).SummaryList(kList).File()},
    {"LISTPos=0", "tags set a.w64 Title=x", Padded(80'000).File()},
    {"LISTPos=1", "tags set a.w64 Title=x", Padded(0).File()},  // moves
    {"", "repair a.w64", Padded(4072, 24).File(0)},
    {"", "repair a.w64", Resized(Padded(4072).File(), 11'000)},
};

}  // namespace

TEST_F(StillEdit, APowerCutLeavesTheOldFileOrTheNewOne) {
    size_t between = 0;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.edit.substr(0, 30));
        const Bytes edited = Make(c);
        EXPECT_NE(edited, c.file);
        const CrashStates states({{"a.w64", c.file}}, shop.Path(), Log());
        EXPECT_EQ(shop.Do("w64 check -q a.w64 && w64 decode -f a.w64 -o - --format raw").output.size(),
                  6000u);
        EXPECT_GT(states.All().size(), 5u);
        between += RepairAll(states.All(), c.file, edited);
    }
    EXPECT_GT(between, 50u);  // where the journal is what saves the file
}

TEST_F(StillEdit, KilledAtAnyCallLeavesTheOldFileOrTheNewOne) {
    int changes = 0;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.edit.substr(0, 30));
        const Bytes edited = Make(c);
        const auto& [options, edit, old] = c;
        for (int i = 1, status = 1; status != 0; ++i, ++changes) {
            shop.Fill({{"a.w64", old}});
            status = shop.Run(Recorded("FAULT=kill FAULT_AT=" + std::to_string(i)) + "w64 -q " + edit).status;
            const bool isPlain = shop.Read("a.w64") == old || shop.Read("a.w64") == edited;
            EXPECT_EQ(shop.Run("w64 check a.w64").output.find("interrupted") != std::string::npos,
                      HasInterruptedEdit(shop.Path() / "a.w64"));
            ASSERT_TRUE(Repair());
            EXPECT_TRUE(shop.Read("a.w64") == edited || (isPlain && shop.Read("a.w64") == old)) << i;
        }
    }
    EXPECT_GT(changes, 60);
}

// The error strikes once, or the disk stays broken. A power cut can follow.
TEST_F(StillEdit, AFailedCallLeavesTheOldFileOrTheNewOne) {
    size_t cuts = 0;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.edit.substr(0, 30));
        const Bytes edited = Make(c);
        const auto& [options, edit, old] = c;
        const int changes = std::stoi(
            shop.Do("grep -acE '^(create|write|truncate|sync|rename|unlink) ' '" + Log() + "'").output);
        std::set<Folder> tried;
        for (int i = 1; i <= 2 * changes; ++i) {
            const bool isOnce = i <= changes;
            SCOPED_TRACE(i);
            shop.Fill({{"a.w64", old}});
            fs::remove(Log());
            const Outcome outcome =
                shop.Run(Recorded(isOnce ? "FAULT_AT=" + std::to_string(i)
                                         : "FAULT_TIMES=999 FAULT_AT=" + std::to_string(i - changes)) +
                         "w64 -q " + edit);
            EXPECT_TRUE(outcome.status == 0 || outcome.errors.starts_with("w64: a.w64: ")) << outcome.errors;
            const auto says = [&](const char* text) {
                return outcome.errors.find(text) != std::string::npos;
            };
            const bool isMade = outcome.status == 0 || says("the edit is made");
            EXPECT_TRUE(says("is half made") || (shop.Read("a.w64") == edited) == isMade);
            const CrashStates states({{"a.w64", old}}, shop.Path(), Log(), 32);
            std::set<Folder> fresh;
            std::ranges::set_difference(states.All(), tried, std::inserter(fresh, fresh.end()));
            cuts += RepairAll(fresh, old, edited);
            tried.merge(fresh);
        }
    }
    EXPECT_GT(cuts, 50u);
}

// About half of the moments come before the edit is made, half after.
TEST_F(StillEdit, KilledAtAnyMomentLeavesTheOldFileOrTheNewOne) {
    shop.Configure("LISTPos=0");
    const std::string edits[] = {"set a.w64 Title=" + std::string(3000, 't'), "remove a.w64 --all"};
    const Bytes old = Padded(0).File();
    shop.Fill({{"a.w64", old}});
    shop.Do("w64 tags " + edits[0]);
    const Bytes files[] = {old, shop.Read("a.w64")};
    size_t done = 1;
    int made = 0;
    double typical = 0.1;  // seconds until the edit is made
    std::mt19937 random(500);
    for (int i = 0; i < 100 && !HasFailure(); ++i) {
        const double moment = typical * std::uniform_real_distribution(0.7, 1.3)(random);
        shop.Run("timeout --foreground -s KILL " + std::to_string(moment) + " w64 -q tags " + edits[done]);
        ASSERT_TRUE(Repair());
        const Bytes found = shop.Read("a.w64");
        const bool isMade = found == files[1 - done];
        if (isMade) done = 1 - done, ++made;
        typical *= isMade ? 0.95 : 1.05;
        EXPECT_EQ(found, files[done]);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
    EXPECT_GT(made, 25);
    EXPECT_LT(made, 75);
}

TEST_F(StillEdit, ReadsAndWritesLittleOfAnyLengthAndLeavesTheRestAlone) {
    constexpr uint64_t audio = 100'000'000'000;
    const Bytes list = Wave64Bytes().SummaryList(kList).File();
    const Bytes tail = Slice(list, 40, list.size());
    for (const size_t padding : {size_t{4072}, size_t{0}, size_t{200'000}}) {
        const Wave64Bytes head =
            Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("junk", Bytes(padding)).Data({}, 24 + audio);
        const uint64_t length = head.File().size() + audio + (padding == 0 ? tail.size() : 0);
        const fs::path file = shop.Write("a.w64", head.File(length));
        fs::resize_file(file, length);
        if (padding == 0) {
            std::fstream at(file);
            at.seekp(static_cast<std::streamoff>(length - tail.size()));
            at.write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
        }
        fs::create_hard_link(file, other.Path() / "link");
        const std::string look = "stat -c '%i %h %u %g %a' a.w64";
        const std::string before = shop.Do(look).output;
        fs::remove(Log());
        shop.Do(Recorded() + "w64 tags set a.w64 Artist=Somebody");
        const std::string moved =
            "grep -aE '^(read|write) .*/a[.]w64 ' '" + Log() + "' | awk '{ n += $5 } END { print n }'";
        EXPECT_LE(std::stoul(shop.Do(moved).output), 256u << 10);
        EXPECT_GT(std::stoul(shop.Do(moved).output), 4096u);
        EXPECT_HAS("Artist=Somebody", shop.Tags("a.w64"));
        EXPECT_EQ(shop.Do(look).output, before);
        EXPECT_LT(std::stoll(shop.Do("stat -c %b a.w64").output), 1000);  // blocks; the rest is a hole
        fs::remove(other.Path() / "link");
    }
}

TEST_F(StillEdit, IsRefusedWhereItCannotBeSafe) {
    const Bytes file = Padded(4072).File();
    shop.Fill({{"a.w64", file}});
    const auto expectRefused = [&](const std::string& command, const std::string& message) {
        const Folder before = shop.Contents();
        const Outcome outcome = shop.Run(command);
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_HAS(message, outcome.errors);
        EXPECT_TRUE(shop.Contents() == before);
    };
    const std::string set = "w64 tags set a.w64 Title=x";
    shop.Write(kJournal, Text("a diary"));
    expectRefused(set, "the name of the journal of an edit, is taken by something else");
    fs::remove(shop.Path() / kJournal);
    fs::create_directory(shop.Path() / kJournal);
    expectRefused(set, "is taken by something else");
    fs::remove(shop.Path() / kJournal);
    expectRefused(Recorded(kNoLocks) + set, "cannot be locked");
    EXPECT_EQ(shop.Run(Recorded(kNoLocks) + set + " --in-place").errors, "");

    // Another program writes while the edit is prepared, or after it was interrupted.
    shop.Fill({{"a.w64", file}});
    const RangeEdit edit{int64_t(file.size()), int64_t(file.size()), {{500, Bytes(4), Bytes(4, 'x')}}};
    const auto write = [&](size_t at) {
        std::fstream(shop.Path() / "a.w64").seekp(std::streamoff(at)).put('y');
    };
    {
        LockedFile locked(shop.Path() / "a.w64");
        ::usleep(20'000);  // file systems count time in steps
        write(5000);
        EXPECT_THROW(MakeJournalledEdit(locked, edit), Failure);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
    const Journal journal = Journal::Of(shop.Path() / "a.w64");
    journal.Write(edit);
    EXPECT_HAS("interrupted; w64 repair finishes it", shop.Do("w64 info a.w64").errors);
    expectRefused("w64 check a.w64", "");
    const Folder interrupted = shop.Contents();
    fs::remove(shop.Path() / "a.w64");
    expectRefused("w64 repair --dry-run a.w64", "No such file");
    shop.Fill(interrupted);
    shop.Do("w64 -q sample -f a.w64");
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    shop.Fill(interrupted);
    write(502);
    expectRefused(set, "changed since, so the edit cannot be finished");
    write(501);
    fs::rename(shop.Path() / kJournal, shop.Path() / "j");
    fs::rename(shop.Path() / "a.w64", shop.Path() / "b.w64");
    Bytes fixed = file;
    fixed[5000] = 'y';
    shop.Write("b.w64", fixed);
    shop.Do("w64 repair b.w64 --journal j");
    std::fill_n(fixed.begin() + 500, 4, 'x');
    EXPECT_TRUE(shop.Contents() == (Folder{{"b.w64", fixed}}));
    shop.Write("j", Text("a diary"));
    expectRefused("w64 repair b.w64 --journal j", "is taken by something else");

    // A sync may have failed: what reads as new need not be on the disk.
    shop.Write("a.w64", shop.Read("b.w64"));
    journal.Write(edit);
    fs::remove(Log());
    shop.Do(Recorded(kNoLocks) + "w64 repair a.w64");
    EXPECT_HAS("/a.w64 500 4 4\nxxxx", shop.Do("cat '" + Log() + "'").output);

    // A journal made to do harm: it cuts off, puts in or repeats what it does not have.
    const int64_t size = std::ssize(file);
    for (const RangeEdit& crafted :
         {RangeEdit{size, 40, {}}, RangeEdit{INT64_MAX, 0, {}},
          RangeEdit{size, size - 8, {{size - 4, Bytes(4), {}}}}, RangeEdit{size, size, {{500, {}, Bytes(4)}}},
          RangeEdit{size, size, {edit.ranges[0], edit.ranges[0]}}}) {
        journal.Write(crafted);
        expectRefused(set, "contradicts itself");
        fs::remove(journal.Path());
    }
    if (::geteuid() != 0) return;  // who cannot give files away
    journal.Write(edit);
    ASSERT_EQ(::chown(journal.Path().c_str(), 99, 99), 0);
    expectRefused(set, "belongs to another user");
}

TEST_F(StillEdit, PutsNewTagsWhereTheyFit) {
    const auto place = [&] { return shop.Do("w64 check a.w64").output; };
    shop.Fill({{"a.w64", Padded(4072).File()}});
    EXPECT_EQ(shop.Do("w64 tags set a.w64 Title=x").errors, "");
    EXPECT_HAS("tags before the audio", place());
    shop.Fill({{"a.w64", Padded(0).File()}, {".w64-99999999-0.part", {}}});
    const std::string notes = shop.Do("w64 tags set a.w64 Title=x").errors;
    EXPECT_HAS("a copy of the file is edited", notes);
    EXPECT_HAS(".w64-99999999-0.part: left over from a run that was killed", notes);
    EXPECT_HAS("tags before the audio", place());

    constexpr uint64_t audio = 80'000'000;  // too long to be copied unasked
    const Bytes head = Wave64Bytes().Fmt(1, 2, 48000, 24).Data({}, 24 + audio).File(112 + audio);
    fs::resize_file(shop.Write("a.w64", head), 112 + audio);
    EXPECT_HAS("w64 tags set --move puts", shop.Do("w64 tags set a.w64 Title=x").errors);
    EXPECT_HAS("tags after the audio", place());
    EXPECT_EQ(shop.Do("w64 tags set a.w64 Artist=y").errors, "");
    shop.Do("w64 tags set a.w64 --move");
    EXPECT_HAS("tags before the audio", place());
    EXPECT_EQ(shop.Tags("a.w64"), "Artist=y, Title=x");
    EXPECT_EQ(shop.Do("w64 tags set a.w64 --move").errors, "");
    EXPECT_EQ(shop.Tags("a.w64"), "Artist=y, Title=x");

    for (const std::string padding : {"0", "32", "4096"}) {
        shop.Do("w64 sample -f a.w64 --seconds 0.1 --padding " + padding);
        shop.Do("w64 decode -f a.w64 && w64 encode -f a.wav b.w64 --padding " + padding);
        EXPECT_TRUE(shop.Read("a.w64") == shop.Read("b.w64"));
        EXPECT_EQ(shop.Read("a.w64").size(), 28'904 + std::stoul(padding));
    }
}

}  // namespace w64
