#include "HostWorkshop.h"
#include "SoundFile.h"
#include "Wave64Bytes.h"
#include "host/terminal/TimePoint.h"

#include <csignal>
#include <gtest/gtest.h>

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
    for (const char* text : {"",
                             "s",
                             "f",
                             "-1",
                             "+1",
                             "1.5f",
                             "1:30f",
                             "5fs",
                             "1:60",
                             "1:2:60",
                             "1:2:3:4",
                             "1:",
                             ":1",
                             "1.s",
                             "1.-5s",
                             "0x10",
                             "1e3",
                             "1000000001s",
                             "9223372036854775808f",
                             "0.1234567891x"})
        EXPECT_FALSE(TimePoint::Parse(text)) << text;
}

TEST_F(DecodeTest, WhatIsWrongIsToldAndChangesNothing) {
    SoundFile(shop.Path() / "riff.w64", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw(Pattern(100));
    shop.Write("empty.w64", {});
    shop.Write("nine.w64", Wave64Bytes().Fmt(1, 9, 8000, 16).Data(Pattern(180)).File());
    shop.Write("mulaw.w64", Wave64Bytes().Fmt(7, 1, 8000, 8).Data(Pattern(100)).File());
    shop.Write("\x1B[2J.w64", Pattern(100));
    for (const char* name : {"b.wav", "b.w64", "bad\xFF.w64"}) Put(name);  // the last is no UTF-8
    std::filesystem::create_symlink("a.w64", shop.Path() / "link.wav");
    std::filesystem::create_directory(shop.Path() / "folder");
    shop.ExpectRefused({
        {"", 2, "subcommand is required"},
        {"decod a.w64", 2, "w64: there is no command 'decod'; did you mean 'decode'?\n"},
        {"frobnicate a.w64", 2, "there is no command 'frobnicate'; see w64 --help"},
        {"help tags sett", 2, "there is no command 'sett'; did you mean 'set'?"},
        {"decode a.w64 --strat=3", 2, "there is no option '--strat'; did you mean '--start'?"},
        {"tags set --quite", 2, "there is no option '--quite'; did you mean '--quiet'?"},
        {"tags sett a.w64", 2, "there is no command 'sett'; did you mean 'set'?"},
        {"tags rmove a.w64 --all", 2, "there is no command 'rmove'; did you mean 'remove'?"},
        {"tags set a.w64 titel=x", 2, "a Wave64 file cannot store 'titel'; did you mean 'Title'?"},
        {"encode a.w64 b.w64 d.w64", 2, "d.w64; see w64 encode --help"},
        {"decode a.w64 -o a.mp3", 2, "should end in .wav, .flac, .raw or .pcm"},
        {"decode a.w64 -o nowhere/", 2, "there is no folder 'nowhere/'"},
        {"decode a.w64 b.w64 -o a.wav", 2, "several files need a folder to go into"},
        {"decode a.w64 ./a.w64", 2, "would both become"},
        {"decode a.w64 --start soon", 2, "neither a time (90, 1:30.5) nor a frame (12345f)"},
        {"decode a.w64 --start 2s --end 1s", 2, "--start is after --end"},
        {"decode a.w64 --start 3 --end 100f", 1, "w64: a.w64: --start is after --end"},
        {"decode a.w64 --start 10", 1, "past the end: the audio lasts 0:00:10.000 (80,000 frames)\n"},
        {"decode a.w64 --start 80000f --salvage", 1, "lasts 0:00:10.000 (80,000 frames)\n"},
        {"decode a.w64 --trace a.w64", 2, "the trace would replace 'a.w64'"},
        {"encode /dev/null c.w64", 1, "w64: /dev/null: is a pipe or a device, not a file\n"},
        {"encode a.w64 b.wav", 2, "'b.wav' should end in .w64"},
        {"sample b.w64 --bits 24 --float", 2, "32 or 64"},
        {"decode nine.w64 -o a.flac", 1, "of up to 8 channels, this is PCM, 16-bit, 9 channels"},
        {"decode riff.w64", 1, "w64: riff.w64: Error RIFF chunk unknown 'RIFF'\n"},
        {"decode empty.w64", 1, "w64: empty.w64: Error cannot find 'fmt ' chunk.\n"},
        {"decode mulaw.w64", 1, "w64: mulaw.w64: Error Cannot Create Wave Decoder (Unknown ACM ID: 7)?\n"},
        {"decode '\x1B[2J.w64'", 1, "w64: ?[2J.w64: Error RIFF chunk unknown '?\?\?\?'\n"},
        {"decode bad\xFF.w64 -o c.wav", 1, "w64: bad\xEF\xBF\xBD.w64: the file name is not UTF-8\n"},

        {"decode b.w64", 1, "exists already; --force replaces it"},
        {"encode a.w64 b.w64", 1, "exists already; --force replaces it"},
        {"sample b.w64", 1, "exists already; --force replaces it"},
        {"decode b.wav -f", 1, "would replace this file itself"},
        {"decode a.w64 -f -o link.wav", 1, "would replace this file itself"},
        {"encode a.w64 a.w64 -f", 1, "would replace this file itself"},
    });
    for (const std::string command : {"decode %", "encode % c.w64", "info %", "chunks %", "check %", "tags %",
                                      "tags set % Title=b", "plot %"}) {
        const auto with = [&](const char* name) {
            return std::string(command).replace(command.find('%'), 1, name);
        };
        shop.ExpectRefused({{with("none.w64"), 1, "w64: none.w64: No such file or directory\n"},
                            {with("folder"), 1, "w64: folder: Is a directory\n"}});
    }
    shop.Do("w64 --help && w64 --version");
    EXPECT_EQ(shop.Do("w64 help").output, shop.Do("w64 --help").output);
    EXPECT_EQ(shop.Do("w64 help tags set").output, shop.Do("w64 tags set --help").output);
    shop.ExpectRefused({{"--help >/dev/full", 1, "cannot write to standard output: No space"}});

    shop.Do("chmod 600 b.wav; w64 decode b.w64 -f && w64 encode b.wav b.w64 --force");
    EXPECT_EQ(shop.Run("stat -c %a b.wav").output, "600\n");
    EXPECT_EQ(SoundFile(shop.Path() / "b.wav").Container(), SF_FORMAT_WAV);
    EXPECT_EQ(SoundFile(shop.Path() / "b.w64").ReadRaw(), audio);
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
    EXPECT_EQ(shop.Run("w64 info a.w64 --trace trace.txt").status, 2);  // replaces nothing
}

TEST_F(DecodeTest, InfoTellsWhatThereIs) {
    shop.Write("b.w64", Wave64Bytes()
                            .Chunk("bext", Pattern(602))
                            .Chunk("fmt ", Wave64Bytes::ExtensibleBody(3, 6, 48000, 32, 0x60F))
                            .Data(Pattern(size_t{24} * 72000))
                            .File());
    const std::string text = shop.Do("w64 info b.w64").output;
    EXPECT_PRED_FORMAT2(
        IsSubstring,
        "b.w64\n"
        "  Format    float, 32-bit, 6 channels, 48000 Hz\n"
        "  Speakers  front left, front right, front center, low frequency, side left, side right\n"
        "  Duration  0:00:01.500 (72,000 frames)\n"
        "  Bit rate  9,216 kbit/s\n"
        "  Size      1,728,760 bytes\n"
        "  Report\n"
        "    Audio Quality     DVD  (Lossless)\n",
        text);
    EXPECT_PRED_FORMAT2(IsSubstring,
                        "  Chunks\n"
                        "    bext                         602 bytes at 40\n"
                        "    fmt                           40 bytes at 672\n"
                        "    data                   1,728,000 bytes at 736\n",
                        text);
    shop.Write("c.w64", Wave64Bytes().Fmt(1, 1, 8000, 8).Chunk("\x01unk", {1}).Data(Pattern(2)).File());
    EXPECT_PRED_FORMAT2(IsSubstring, "    fmt " + std::string(48, ' ') + "18 bytes at 40\n",
                        shop.Do("w64 info c.w64").output);  // the column is as wide as a GUID
    const std::string json = shop.Do("w64 info --json b.w64 a.w64").output;
    EXPECT_EQ(JsonAt(json, "/0/speakers/5"), "side right");
    EXPECT_EQ(JsonAt(json, "/0/chunks/2/name"), "data");
    EXPECT_EQ(JsonAt(json, "/1/frames"), "80000");
}

TEST_F(DecodeTest, JSONHasAnObjectForEveryFile) {
    Put("bad\xFF.w64");                                        // no UTF-8
    shop.Write("cut.w64", Resized(shop.Read("a.w64"), 1114));  // with 1002 bytes of audio
    for (const std::string command : {"info", "tags", "chunks"}) {
        SCOPED_TRACE(command);
        const Outcome outcome = shop.Run("w64 " + command + " --json none.w64 bad\xFF.w64 cut.w64 a.w64");
        EXPECT_EQ(outcome.status, 1);
        ASSERT_TRUE(IsJson(outcome.output)) << outcome.output;
        const auto at = [&](const char* pointer) { return JsonAt(outcome.output, pointer); };
        EXPECT_EQ(at("/0"), R"({"error":"No such file or directory","file":"none.w64"})");
        EXPECT_EQ(at("/1"), R"({"error":"the file name is not UTF-8","file":"bad�.w64"})");
        EXPECT_EQ(at("/2/file"), "cut.w64");
        EXPECT_EQ(at("/2/error"),
                  "the file is cut off, 318,998 bytes are missing; 0:00:00.031 of audio is there");
        EXPECT_EQ(at("/3/file") + at("/3/error"), "a.w64");
        if (command == "info") {
            EXPECT_EQ(at("/2/audioPresent"), R"({"bytes":1002,"frames":250,"milliseconds":31})");
        }
        if (command == "chunks") {
            EXPECT_EQ(at("/2/chunks/1/bytes") + " of " + at("/2/chunks/1/sizeField"), "1002 of 320024");
        }
    }
}

TEST_F(DecodeTest, FailedWritesAndInterruptsLeaveNothingBehind) {
    for (const std::string arguments : {"decode a.w64", "decode a.w64 -o a.flac", "decode a.w64 -o a.raw",
                                        "encode a.w64 b.w64", "sample b.w64"}) {
        const Outcome outcome = shop.Run("ulimit -f 50; w64 " + arguments);  // blocks of 512 bytes
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_PRED_FORMAT2(IsSubstring, "cannot write: File too large", outcome.errors);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
    // Long enough to be in the middle of its work when the signal comes.
    const Outcome outcome = shop.Run("w64 sample long.w64 --seconds 1000 & "
                                     "while ! ls .w64-*.part; do sleep 0.01; done; kill -TERM $!; wait $!");
    EXPECT_EQ(outcome.status, 128 + SIGTERM);
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
}

}  // namespace w64
