#include "Json.h"
#include "SoundFile.h"
#include "Wave64Bytes.h"
#include "Workshop.h"

#include <csignal>
#include <gtest/gtest.h>

namespace {

// A workshop with ten seconds of 16-bit stereo in "a.w64".
class DecodeTest : public testing::Test {
protected:
    static constexpr size_t kFrameBytes = 4;

    DecodeTest() { Put("a.w64"); }

    void Put(const std::string& name) const {
        shop.Write(name, Wave64Bytes().Fmt(1, 2, 8000, 16).Data(audio).File());
    }

    const Workshop shop;
    const Bytes audio = Pattern(80000 * kFrameBytes);
};

}  // namespace

TEST_F(DecodeTest, RangesInFramesAndTimes) {
    const struct {
        std::string options;
        size_t start;
        size_t end;  // frames
    } cases[] = {
        {"--start 100", 100, 80000},
        {"--end 100", 0, 100},
        {"--start 1.5s --end 0:03.25", 12000, 26000},
        {"--start 8001 --end 0:00:02", 8001, 16000},
        {"--start 7 --end 7", 7, 7},
        {"--start 0:09 --end 1:00:00", 72000, 80000},
        {"--start 1:00", 80000, 80000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        const Bytes expected = Slice(audio, c.start * kFrameBytes, c.end * kFrameBytes);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -f -o a.raw " + c.options).status, 0);
        EXPECT_EQ(shop.Read("a.raw"), expected);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -f -o a.wav " + c.options).status, 0);
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ReadRaw(), expected);
    }
}

TEST_F(DecodeTest, WhatIsWrongIsToldAndChangesNothing) {
    SoundFile(shop.Path() / "riff.w64", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw(Pattern(100));
    shop.Write("empty.w64", {});
    shop.Write("mulaw.w64", Wave64Bytes().Fmt(7, 1, 8000, 8).Data(Pattern(100)).File());
    shop.Write("\x1B[2J.w64", Pattern(100));
    Put("bad\xFF.w64");  // no UTF-8
    const struct {
        std::string arguments;
        int status;
        const char* message;
    } cases[] = {
        {"", 2, "subcommand is required"},
        {"decode a.w64 -o a.mp3", 2, "should end in .wav, .flac, .raw or .pcm"},
        {"decode a.w64 -o nowhere/", 2, "there is no folder 'nowhere/'"},
        {"decode a.w64 b.w64 -o a.wav", 2, "several files go into a folder"},
        {"decode a.w64 ./a.w64", 2, "would both become"},
        {"decode a.w64 --start soon", 2, "neither a frame (12345) nor a time"},
        {"decode a.w64 --start 2s --end 1s", 2, "--start lies behind --end"},
        {"decode a.w64 --start 3s --end 100", 1, "w64: a.w64: "},
        {"decode a.w64 --trace a.w64", 2, "the trace would replace 'a.w64'"},
        {"encode a.w64 b.wav", 2, "'b.wav' should end in .w64"},
        {"sample b.w64 --bits 24 --float", 2, "32 or 64"},
        {"decode riff.w64", 1, "w64: riff.w64: Error RIFF chunk unknown 'RIFF'\n"},
        {"decode empty.w64", 1, "w64: empty.w64: Error cannot find 'fmt ' chunk.\n"},
        {"decode b.w64", 1, "w64: b.w64: Error opening file 'b.w64' check no other program has it open.\n"},
        {"decode mulaw.w64", 1, "w64: mulaw.w64: Error Cannot Create Wave Decoder (Unknown ACM ID: 7)?\n"},
        {"decode '\x1B[2J.w64'", 1, "w64: ?[2J.w64: Error RIFF chunk unknown '?\?\?\?'\n"},
        {"decode bad\xFF.w64 -o b.wav", 1, "w64: bad\xEF\xBF\xBD.w64: is no UTF-8 file name\n"},
    };
    const std::set<std::string> files = shop.Files();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Outcome outcome = shop.Run("w64 " + c.arguments);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, c.message, outcome.errors);
        EXPECT_TRUE(outcome.errors.starts_with("w64: ")) << outcome.errors;
        EXPECT_EQ(shop.Files(), files);
    }
    EXPECT_EQ(shop.Run("w64 --help && w64 --version").status, 0);
}

TEST_F(DecodeTest, StandardOutputGetsAudioWithRightSizes) {
    for (const std::string kind : {"wav", "flac", "raw"}) {
        SCOPED_TRACE(kind);
        ASSERT_EQ(shop.Run("w64 decode a.w64 -o a." + kind).status, 0);
        const Outcome file = shop.Run("w64 decode a.w64 -o - --format " + kind);
        EXPECT_TRUE(file.output == ReadText(shop.Path() / ("a." + kind)));  // too long to print
        EXPECT_EQ(file.errors, "");
    }
    ASSERT_EQ(shop.Run("w64 decode a.w64 -o - | cat >pipe.wav").status, 0);
    EXPECT_TRUE(shop.Read("pipe.wav") == shop.Read("a.wav"));
}

TEST_F(DecodeTest, MissingStandardStreamsAreNotMistakenForFiles) {
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o - >&-").status, 1);
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o a.raw --salvage <&- 2>&-").status, 0);
    EXPECT_EQ(shop.Read("a.raw"), audio);
}

TEST_F(DecodeTest, NothingIsReplacedUnlessForcedAndTheInputNever) {
    for (const char* name : {"b.wav", "b.w64"}) Put(name);
    std::filesystem::create_symlink("a.w64", shop.Path() / "link.wav");
    const Bytes before = shop.Read("a.w64");
    const char* exists = "exists already; --force replaces it";
    const char* itself = "would replace this file itself";
    const struct {
        std::string arguments;
        const char* message;
    } cases[] = {
        {"decode b.w64", exists},
        {"encode a.w64 b.w64", exists},
        {"sample b.w64", exists},
        {"decode b.wav -f", itself},
        {"decode a.w64 -f -o link.wav", itself},
        {"encode a.w64 a.w64 -f", itself},
    };
    for (const auto& c : cases) {
        const Outcome refused = shop.Run("w64 " + c.arguments);
        EXPECT_EQ(refused.status, 1);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, c.message, refused.errors);
        for (const char* name : {"a.w64", "b.w64", "b.wav"})
            EXPECT_TRUE(shop.Read(name) == before) << c.arguments << " changed " << name;
    }
    EXPECT_EQ(shop.Run("chmod 600 b.wav; w64 decode b.w64 -f && w64 encode b.wav b.w64 --force").status, 0);
    EXPECT_EQ(shop.Run("stat -c %a b.wav").output, "600\n");
    EXPECT_EQ(SoundFile(shop.Path() / "b.wav").Container(), SF_FORMAT_WAV);
    EXPECT_EQ(SoundFile(shop.Path() / "b.w64").ReadRaw(), audio);
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
    EXPECT_EQ(shop.Run("w64 info b.w64").output,
              "b.w64\n"
              "  Format    float, 32-bit, 6 channels, 48000 Hz\n"
              "  Speakers  front left, front right, front center, low frequency, side left, side right\n"
              "  Duration  0:00:01.500 (72,000 frames)\n"
              "  Bit rate  9,216 kbit/s\n"
              "  Size      1,728,760 bytes\n"
              "  Report\n"
              "    Audio Quality     DVD  (Lossless)\n"
              "    Encoder Settings  IEEE Float\n"
              "    Wave Header       Wave Format Extensible\n"
              "    Channel Mapping   Left,  Right,  Center,  Sub-woofer,  Side Left,  Side Right\n"
              "    Sample Count      72,000\n"
              "    Riff Chunks       'bext' 602 bytes,  'fmt ' 40 bytes,  'data' 1.65 MB\n"
              "    Gapless           Yes\n"
              "  Chunks\n"
              "    bext                         602 bytes at 40\n"
              "    fmt                           40 bytes at 672\n"
              "    data                   1,728,000 bytes at 736\n");
    const std::string json = shop.Run("w64 info --json b.w64 a.w64").output;
    EXPECT_EQ(JsonAt(json, "/0/speakers/5"), "side right");
    EXPECT_EQ(JsonAt(json, "/0/chunks/2/name"), "data");
    EXPECT_EQ(JsonAt(json, "/1/frames"), "80000");
}

TEST_F(DecodeTest, FailedWritesLeaveNothingBehind) {
    for (const std::string arguments : {"decode a.w64", "decode a.w64 -o a.flac", "decode a.w64 -o a.raw",
                                        "encode a.w64 b.w64", "sample b.w64"}) {
        const Outcome outcome = shop.Run("ulimit -f 50; w64 " + arguments);  // blocks of 512 bytes
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "cannot write: File too large", outcome.errors);
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
}

TEST_F(DecodeTest, InterruptLeavesNothingBehind) {
    // Long enough to be in the middle of its work when the signal comes.
    const Outcome outcome = shop.Run("w64 sample long.w64 --seconds 1000 & "
                                     "while ! ls .w64-*.part; do sleep 0.01; done; kill -TERM $!; wait $!");
    EXPECT_EQ(outcome.status, 128 + SIGTERM);
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
}
