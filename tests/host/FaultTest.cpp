// Calls of the system fail under the commands: one call, or all from one on. By default a few are tried, by the
// environment variable FAULTS each of the first 300 of a kind and 100 more.

#include "HostWorkshop.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace w64 {

namespace {

struct Work {
    const char* name;
    const char* before;  // what is done to a.w64 before
    const char* command;

    bool Has(const char* text) const { return std::string(command).find(text) != std::string::npos; }

    // libsndfile, FLAC and TagLib leak where a header cannot be read or memory runs out, and then can crash.
    bool IsByLibraries() const { return Has("encode") || Has(".flac") || Has(".aiff"); }
};

std::ostream& operator<<(std::ostream& out, const Work& work) { return out << work.command; }

constexpr const char* kNoRoom = "w64 sample -f a.w64 --seconds 0.1 --padding 0; w64 options Wave64LISTPos=1";
constexpr const char* kTagged = "w64 tags set a.w64 Title=Song";
constexpr const char* kCutOff = "truncate -s 9000 a.w64";

const Work kWorks[] = {
    {"InstantEdit", "", "w64 tags set a.w64 Title=Song"},
    {"CopiedEdit", kNoRoom, "w64 tags set a.w64 Title=Song"},
    {"EditInPlace", kNoRoom, "w64 tags set a.w64 Title=Song --in-place"},
    {"Removal", kTagged, "w64 tags remove a.w64 --all"},
    {"Import", "", "printf 'Title=Song\nArtist=Somebody' | w64 tags import a.w64"},
    {"Options", "w64 options Wave64LISTText=1", "w64 options Wave64LISTPos=1"},
    {"DecodeToWAV", kTagged, "w64 decode a.w64"},
    {"DecodeToFLAC", kTagged, "w64 decode a.w64 -o a.flac --verify"},
    {"DecodeConverted", "", "w64 decode a.w64 -o a.aiff --rate 44100 --bits 16 --dither --channels 1"},
    {"DecodeToOutput", "", "w64 decode a.w64 -o - --format wav"},
    {"DecodeOver", "cp a.w64 a.wav", "w64 decode -f a.w64"},
    {"EncodeWAV", "w64 tags set a.w64 Title=Song; w64 decode a.w64", "w64 encode a.wav b.w64"},
    {"EncodeFLAC", "w64 decode a.w64 -o a.flac", "w64 encode a.flac b.w64 --verify"},
    {"EncodeStream", "w64 decode a.w64", "cat a.wav | w64 encode - -o b.w64"},
    {"Repair", kCutOff, "w64 repair a.w64"},
    {"RepairCopy", kCutOff, "w64 repair a.w64 -o b.w64"},
    {"FinishedEdit", "export FAULT=kill FAULT_CALLS=unlink FAULT_AT=1; w64 tags set a.w64 Title=Song",
     "w64 repair a.w64"},
    {"Copy", "", "w64 copy a.w64 b.w64 --start 0.01"},
    {"Split", "", "w64 split a.w64 --every 0.05"},
    {"Show", kTagged, "w64 info a.w64"},
};

struct Fault {
    const char* calls;
    int error;  // 0 where a call does a part of what it is to do

    // Such a call is made again.
    bool IsHarmless() const { return error == 0 || error == EINTR; }
    bool IsOfMemory() const { return error == ENOMEM; }
};

const Fault kFaults[] = {{"open create", EMFILE}, {"read", EIO},      {"read", EINTR},     {"read", 0},
                         {"write", ENOSPC},       {"write", EINTR},   {"write", 0},        {"seek", EIO},
                         {"truncate", EIO},       {"lock", ENOLCK},   {"lock", EINTR},     {"sync", EIO},
                         {"rename", EACCES},      {"unlink", EACCES}, {"allocate", ENOMEM}};

using Counts = std::map<std::string, int>;

class Faults : public HostTest, public testing::WithParamInterface<Work> {
protected:
    void SetUp() override {
        shop.Do("w64 sample a.w64 --seconds 0.1");
        Run("", GetParam().before);
        before = shop.Contents();
        output = Run("", GetParam().command).output;
        after = shop.Contents();
        plain = Counted();
    }

    Outcome Run(const std::string& plan, const std::string& commands) const {
        std::filesystem::remove(CountsFile());
        return shop.Run("export XCLASS_XREGISTRY_LOCATION=settings FAULT_COUNTS='" + CountsFile().string() +
                        "'; w64() { " + WithFaults(plan) + "command w64 \"$@\"; }; " + commands);
    }

    std::filesystem::path CountsFile() const { return other.Path() / "counts"; }
    Counts Counted() const {
        Counts counts;
        std::istringstream in(ReadText(CountsFile()));
        for (std::string name; in >> name;) in >> counts[name];
        return counts;
    }

    int CallsOf(const Fault& fault) const {
        int count = 0;
        std::istringstream names(fault.calls);
        for (std::string name; names >> name;) count += plain.at(name);
        return count;
    }

    // The numbers, from 1 to `count`, of the calls to try.
    std::vector<int> Chosen(int count) {
        const bool isAll = std::getenv("FAULTS") != nullptr;
        std::vector<int> chosen(static_cast<size_t>(isAll ? std::min(count, 299) : 0));
        std::iota(chosen.begin(), chosen.end(), 1);
        const auto tried = static_cast<int>(chosen.size());
        for (int more = std::min(count - tried, isAll ? 100 : 1); more > 0; --more)
            chosen.push_back(std::uniform_int_distribution(tried + 1, count)(random));
        return chosen;
    }

    void Try(const Fault& fault, int first, int times) const {
        shop.Fill(before);
        const std::string plan = std::string("FAULT_CALLS='") + fault.calls +
                                 "' FAULT=" + (fault.error == 0 ? "part" : std::to_string(fault.error)) +
                                 " FAULT_AT=" + std::to_string(first) +
                                 " FAULT_TIMES=" + std::to_string(times);
        const Outcome outcome = Run(plan, GetParam().command);
        SCOPED_TRACE(plan + " " + GetParam().command + "\n" + std::to_string(outcome.status) + " " +
                     outcome.errors);
        if (outcome.status == 0) {
            EXPECT_TRUE(shop.Contents() == after);
            EXPECT_EQ(outcome.output, output);
        } else {
            EXPECT_FALSE(fault.IsHarmless());
            CheckFailure(outcome, fault);
        }
        const Counts counts = Counted();
        if (counts.empty()) return;  // a crash
        EXPECT_EQ(counts.at("descriptors"), 0);
        EXPECT_TRUE(GetParam().IsByLibraries() || counts.at("blocks") <= plain.at("blocks"));
    }

    void CheckFailure(const Outcome& outcome, const Fault& fault) const {
        const bool isCrash = GetParam().IsByLibraries() && fault.IsOfMemory() && outcome.status > 128;
        if (!isCrash) {
            EXPECT_EQ(outcome.status, 1);
            EXPECT_HAS("\nw64: ", "\n" + outcome.errors);
        }
        const bool isHalfMade = outcome.errors.find("the edit has stopped midway") != std::string::npos;
        EXPECT_TRUE(!isHalfMade || GetParam().Has("--in-place"));
        if (isHalfMade) return;
        shop.Run("[ ! -e .a.w64.w64-journal ] || w64 repair a.w64");
        Folder found = shop.Contents();
        if (isCrash || fault.calls == std::string("unlink"))
            std::erase_if(found, [](const auto& file) { return file.first.ends_with(".part"); });
        for (const auto& [name, bytes] : before)
            EXPECT_TRUE(found.count(name) == 1 || after.count(name) == 0) << name << " is gone";
        for (const auto& [name, bytes] : found)
            EXPECT_TRUE(Holds(before, name, bytes) || Holds(after, name, bytes)) << name;
    }

    static bool Holds(const Folder& folder, const std::string& name, const Bytes& bytes) {
        return folder.count(name) == 1 && folder.at(name) == bytes;
    }

    const TempFolder other{};
    Folder before, after;
    std::string output;
    Counts plain;
    std::mt19937 random{7};
};

}  // namespace

TEST_P(Faults, AreToldAndHarmNothing) {
    for (const Fault& fault : kFaults) {
        int runs = 0;
        for (const int times : {1, 9999}) {
            if (times > 1 && fault.error == EINTR) continue;
            const std::vector<int> chosen = Chosen(CallsOf(fault));
            for (const int first : chosen) Try(fault, first, times);
            runs += static_cast<int>(chosen.size());
        }
        std::cout << "tried: " << runs << " " << fault.calls << "\n";
    }
}

INSTANTIATE_TEST_SUITE_P(, Faults, testing::ValuesIn(kWorks),
                         [](const auto& work) { return std::string(work.param.name); });

}  // namespace w64
