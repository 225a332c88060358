#include "HostWorkshop.h"
#include "SoundFile.h"
#include "host/terminal/TimePoint.h"

#include <csignal>

namespace w64 {

namespace {

// A workshop with ten seconds of 16-bit stereo in "a.w64".
class DecodeTest : public HostTest {
protected:
    static constexpr size_t kFrameBytes = 4;

    DecodeTest() { Put("a.w64"); }

    void Put(const std::string& name) const {
        shop.Write(name, Wave64Bytes().Fmt(1, 2, 8000, 16).Data(audio).File());
    }

    const Bytes audio = Pattern(80000 * kFrameBytes);
};

}  // namespace

TEST_F(DecodeTest, RangesInFramesAndTimes) {
    const std::tuple<std::string, size_t, size_t> cases[] = {
        {"--start 100f", 100, 80000},
        {"--end 100f", 0, 100},
        {"--start 9", 72000, 80000},
        {"--start 1.5s --end 0:03.25", 12000, 26000},
        {"--start 8001f --end 0:00:02", 8001, 16000},
        {"--start 7f --end 7f", 7, 7},
        {"--start 0:09 --end 1:00:00", 72000, 80000},
    };
    for (const auto& [options, start, end] : cases) {
        SCOPED_TRACE(options);
        shop.Do("for o in a.raw a.wav; do w64 decode a.w64 -fo $o " + options + " || exit; done");
        const Bytes expected = Slice(audio, start * kFrameBytes, end * kFrameBytes);
        EXPECT_EQ(shop.Read("a.raw"), expected);
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ReadRaw(), expected);
    }
}

TEST(TimePoint, FramesAndTimes) {
    const std::pair<const char*, int64_t> frames[] = {// at 44100 a second
                                                      {"9223372036854775807f", INT64_MAX},
                                                      {"90", 3969000},
                                                      {"1.5", 66150},
                                                      {"0.00001134s", 1},
                                                      {"1000000000s", 44100000000000},
                                                      {"90:00", 238140000},
                                                      {"1:02:03.004", 164184476}};
    for (const auto& [text, frame] : frames) {
        const auto point = TimePoint::Parse(text);
        EXPECT_EQ(point ? point->Frame(44100) : -1, frame) << text;
    }
    std::istringstream wrong(
        "s f -1 +1 1.5f 1:30f 5fs 1:60 1:2:60 1:2:3:4 1: :1 1.s 1.-5s 0x10 1e3 1000000001s "
        "9223372036854775808f 0.1234567891x");
    EXPECT_FALSE(TimePoint::Parse(""));
    for (std::string text; wrong >> text;) EXPECT_FALSE(TimePoint::Parse(text)) << text;
}

TEST_F(DecodeTest, ASampleBeginsOnTheLeft) {
    shop.Do("w64 sample s.w64 --seconds 4 --bits 16 && w64 decode s.w64 --end 0.2s");
    const Bytes frames = SoundFile(shop.Path() / "s.wav").ReadRaw();
    int64_t sounding[2] = {};
    for (size_t i = 0; i < frames.size(); ++i) sounding[i % 4 / 2] += frames[i] != 0;
    EXPECT_GT(sounding[0], 10000);
    EXPECT_EQ(sounding[1], 0);
}

TEST_F(DecodeTest, NothingIsReplacedUnlessForced) {
    for (const char* name : {"b.wav", "b.w64"}) Put(name);
    shop.ExpectRefused(
        {{"", 2, "subcommand is required"},
         {"encode a.w64 b.w64 d.w64", 2, "'a.w64' would replace itself; -o says where to write"},
         {"--help >/dev/full", 1, "cannot write to standard output: No space"},
         {"options >/dev/full", 1, "cannot write to standard output: No space"},
         {"decode b.w64", 1, "exists already; --force replaces it"}});
    EXPECT_EQ(shop.Do("w64 help").output, shop.Do("w64 --version >&2 && w64 --help").output);
    EXPECT_EQ(shop.Do("w64 help tags set").output, shop.Do("w64 tags set --help").output);

    shop.Do("chmod 600 b.wav; w64 decode b.w64 -f && w64 encode b.wav b.w64 --force");
    EXPECT_EQ(shop.Run("stat -c %a b.wav").output, "600\n");
    EXPECT_EQ(SoundFile(shop.Path() / "b.wav").Container(), SF_FORMAT_WAV);
    EXPECT_EQ(SoundFile(shop.Path() / "b.w64").ReadRaw(), audio);
}

// A reader that waits makes it take long enough to be shown.
TEST_F(DecodeTest, ATerminalShowsHowFarItIs) {
    if (shop.Run("script -qec true /dev/null").status != 0) GTEST_SKIP() << "no terminal can be made here";
    const std::string name(25, 'n');
    shop.Do("mv a.w64 long" + name + ".w64");
    const auto shown = [&](int columns) {
        return shop
            .Do("script -qec 'stty cols " + std::to_string(columns) + "; w64 decode long" + name +
                ".w64 -o - | (sleep 0.3; cat >c.wav)' /dev/null")
            .output;
    };
    EXPECT_HAS("\r..." + name + ".w64  [=", shown(100));
    const std::string narrow = shown(20);
    EXPECT_HAS("%  ", narrow);
    EXPECT_EQ(narrow.find(name), narrow.npos);
}

TEST_F(DecodeTest, StandardOutputGetsAudioWithRightSizes) {
    for (const std::string kind : {"wav", "flac", "raw"}) {
        SCOPED_TRACE(kind);
        const Outcome file = shop.Do("w64 decode a.w64 -qo a." + kind +
                                     " && w64 decode a.w64 -o - --format " + kind + " | cat");
        EXPECT_TRUE(file.output == ReadText(shop.Path() / ("a." + kind)));  // too long to print
        EXPECT_EQ(file.errors, "");
    }
    const Outcome first = shop.Do("w64 decode a.w64 -o - | dd bs=65536 count=1 2>/dev/null | wc -c");
    EXPECT_GE(std::stoi(first.output), 4096) << "the first read gives no more than a header";
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o - >&-").status, 1);
    shop.Do("w64 decode a.w64 -o b.raw --salvage <&- 2>&-");
    EXPECT_EQ(shop.Read("b.raw"), audio) << "standard streams that are missing were taken for files";
}

TEST_F(DecodeTest, TraceIsThePluginsOwn) {
    const char* start = "->->  [Open]\r\n  Opening file 'a.w64' for read access: Opened\r\n";
    EXPECT_TRUE(shop.Run("w64 decode a.w64 --trace trace.txt; cat trace.txt").output.starts_with(start));
    EXPECT_TRUE(shop.Run("w64 --trace - info a.w64").errors.starts_with(start));
}

TEST_F(DecodeTest, FailedWritesAndInterruptsLeaveNothingBehind) {
    for (const std::string arguments : {"decode a.w64", "decode a.w64 -o a.flac", "decode a.w64 -o a.raw",
                                        "encode a.w64 b.w64", "sample b.w64"}) {
        const Outcome outcome = shop.Run("ulimit -f 50; w64 " + arguments);  // blocks of 512 bytes
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_HAS("cannot write: File too large", outcome.errors);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
    // Long enough to be in the middle of its work when the signal comes.
    const Outcome outcome = shop.Run("w64 sample long.w64 --seconds 1000 & "
                                     "while ! ls .w64-*.part; do sleep 0.01; done; kill -TERM $!; wait $!");
    EXPECT_EQ(outcome.status, 128 + SIGTERM);
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
}

// A disk that loses a byte while the file is written.
TEST_F(DecodeTest, VerifyKeepsNothingButWhatWentIn) {
    shop.Do("w64 decode a.w64");
    const Folder before = shop.Contents();
    const std::string corrupt =
        "f=$(echo .w64-*.part); s=$(stat -c %s $f); printf X | dd of=$f conv=notrunc bs=1 seek=$((s / 2))";
    const std::pair<int, std::string> jobs[] = {{6, "decode a.w64 -o b.wav"},
                                                {6, "decode a.w64 -o b.raw"},
                                                {6, "decode a.w64 -o b.aiff"},
                                                {10, "decode a.w64 -o b.flac"},
                                                {13, "encode a.wav -o b.w64"}};
    for (const auto& [change, arguments] : jobs) {
        const std::string name = arguments.substr(arguments.rfind(' ') + 1);
        const std::string command = "w64 " + arguments + " --verify";
        const Outcome outcome = shop.Run(Meanwhile(corrupt, change) + command);
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_HAS("'" + name + "' is not kept: ", outcome.errors);
        EXPECT_TRUE(shop.Contents() == before) << arguments;
        shop.Do(command + " && rm " + name);
    }
}

}  // namespace w64
