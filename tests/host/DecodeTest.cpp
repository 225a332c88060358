#include "SoundFile.h"
#include "W64Command.h"
#include "Wave64Bytes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <thread>

namespace {

constexpr size_t kRate = 8000;
constexpr size_t kFrameBytes = 4;

Bytes Audio() { return Pattern(10 * kRate * kFrameBytes); }

Bytes Slice(const Bytes& bytes, size_t from, size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

// A workshop with ten seconds of 16-bit stereo in "a.w64".
class DecodeTest : public testing::Test {
protected:
    DecodeTest() { Put("a.w64"); }

    void Put(const std::string& name) const {
        shop.Write(name, Wave64Bytes().Fmt(1, 2, uint32_t{kRate}, 16).Data(audio).File());
    }

    const Workshop shop;
    const Bytes audio = Audio();
};

}  // namespace

TEST_F(DecodeTest, RangesInFramesAndTimes) {
    const struct {
        std::vector<std::string> options;
        size_t start;
        size_t end;  // frames
    } cases[] = {
        {{"--start", "100"}, 100, 80000},
        {{"--end", "100"}, 0, 100},
        {{"--start", "1.5s", "--end", "0:03.25"}, 12000, 26000},
        {{"--start", "8001", "--end", "0:00:02"}, 8001, 16000},
        {{"--start", "7", "--end", "7"}, 7, 7},
        {{"--start", "0:09", "--end", "1:00:00"}, 72000, 80000},
        {{"--start", "1:00"}, 80000, 80000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options[0] + c.options[1]);
        for (const std::string name : {"a.raw", "a.wav"}) {
            std::vector<std::string> words = {"decode", "a.w64", "-f", "-o", name};
            words.insert(words.end(), c.options.begin(), c.options.end());
            ASSERT_EQ(shop.W64(words).status, 0);
        }
        const Bytes expected = Slice(audio, c.start * kFrameBytes, c.end * kFrameBytes);
        EXPECT_EQ(shop.Read("a.raw"), expected);
        EXPECT_EQ(SoundFile(shop.Path() / "a.wav").ReadRaw(), expected);
    }
    EXPECT_EQ(shop.W64({"decode", "a.w64", "--start", "3s", "--end", "100", "-o", "b.wav"}).status, 1);
}

TEST_F(DecodeTest, WrongUsageIsToldAndChangesNothing) {
    const struct {
        std::vector<std::string> words;
        const char* message;
    } cases[] = {
        {{}, "subcommand is required"},
        {{"decode"}, "IN is required"},
        {{"decode", "a.w64", "-o", "a.mp3"}, "should end in .wav, .flac, .raw or .pcm"},
        {{"decode", "a.w64", "-o", "nowhere/"}, "there is no folder 'nowhere/'"},
        {{"decode", "a.w64", "b.w64", "-o", "a.wav"}, "several files go into a folder"},
        {{"decode", "a.w64", "./a.w64"}, "would both become"},
        {{"decode", "a.w64", "--start", "soon"}, "neither a frame (12345) nor a time"},
        {{"decode", "a.w64", "--start", "2s", "--end", "1s"}, "--start lies behind --end"},
        {{"decode", "a.w64", "--format", "mp3"}, "mp3"},
        {{"decode", "a.w64", "--jobs", "0"}, "0"},
        {{"decode", "a.w64", "--trace", "a.w64"}, "the trace would replace 'a.w64'"},
        {{"encode", "a.w64", "b.wav"}, "'b.wav' should end in .w64"},
        {{"sample", "b.w64", "--bits", "12"}, "12"},
        {{"sample", "b.w64", "--bits", "24", "--float"}, "32 or 64"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = shop.W64(c.words);
        EXPECT_EQ(outcome.status, 2) << c.message;
        EXPECT_NE(outcome.errors.find(c.message), std::string::npos) << outcome.errors;
        EXPECT_TRUE(outcome.errors.starts_with("w64: ")) << outcome.errors;
    }
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    EXPECT_EQ(shop.W64({"--help"}).status, 0);
    EXPECT_TRUE(shop.W64({"--version"}).output.starts_with("w64 "));
}

TEST_F(DecodeTest, StandardOutputGetsAudioWithRightSizes) {
    for (const std::string kind : {"wav", "flac", "raw"}) {
        SCOPED_TRACE(kind);
        ASSERT_EQ(shop.W64({"decode", "a.w64", "-f", "-o", "a." + kind}).status, 0);
        const Outcome file = shop.W64({"decode", "a.w64", "-o", "-", "--format", kind});
        EXPECT_TRUE(file.output == ReadText(shop.Path() / ("a." + kind)));  // too long to print
        EXPECT_EQ(file.errors, "");
    }
    ASSERT_EQ(shop.Run({"sh", "-c", std::string(W64_COMMAND) + " decode a.w64 -o - | cat >pipe.wav"}).status,
              0);
    EXPECT_TRUE(shop.Read("pipe.wav") == shop.Read("a.wav"));
}

TEST_F(DecodeTest, MissingStandardStreamsAreNotMistakenForFiles) {
    const std::string command = W64_COMMAND;
    EXPECT_EQ(shop.Run({"sh", "-c", command + " decode a.w64 -o - >&-"}).status, 1);
    EXPECT_EQ(shop.Run({"sh", "-c", command + " decode a.w64 -o a.raw --salvage <&- 2>&-"}).status, 0);
    EXPECT_EQ(shop.Read("a.raw"), audio);
}

TEST_F(DecodeTest, SeveralFilesGoOnAfterABadOne) {
    shop.Write("bad.w64", Pattern(1000));
    const std::vector<std::string> names = {"f0", "f1", "f2", "f3", "f4", "f5"};
    std::vector<std::string> words = {"decode", "-j", "3", "-o", "out", "bad.w64"};
    for (const std::string& name : names) {
        words.push_back(name + ".w64");
        Put(words.back());
    }

    std::filesystem::create_directory(shop.Path() / "out");
    const Outcome outcome = shop.W64(words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.errors.starts_with("w64: bad.w64: Error RIFF chunk unknown '")) << outcome.errors;
    EXPECT_EQ(std::ranges::count(outcome.errors, '\n'), 1);
    for (const std::string& name : names) {
        EXPECT_EQ(SoundFile(shop.Path() / "out" / (name + ".wav")).ReadRaw(), audio);
    }
    EXPECT_FALSE(std::filesystem::exists(shop.Path() / "out" / "bad.wav"));
}

TEST_F(DecodeTest, FilesThatExistAreKeptUnlessForced) {
    const Bytes precious = Pattern(10);
    for (const std::string name : {"a.wav", "out.w64"}) shop.Write(name, precious);
    for (const std::vector<std::string>& words : {std::vector<std::string>{"decode", "a.w64"},
                                                  {"encode", "a.w64", "out.w64"},
                                                  {"sample", "out.w64"}}) {
        const Outcome refused = shop.W64(words);
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.errors.find("exists already; --force replaces it"), std::string::npos);
        EXPECT_EQ(shop.Read("a.wav"), precious);
        EXPECT_EQ(shop.Read("out.w64"), precious);
    }
    EXPECT_EQ(shop.W64({"decode", "a.w64", "--force"}).status, 0);
    EXPECT_EQ(shop.W64({"encode", "a.w64", "out.w64", "-f"}).status, 0);
    EXPECT_EQ(SoundFile(shop.Path() / "out.w64").ReadRaw(), audio);
}

TEST_F(DecodeTest, TheInputIsNeverReplaced) {
    Put("b.wav");
    const Bytes before = shop.Read("a.w64");
    std::filesystem::create_symlink("a.w64", shop.Path() / "link.wav");
    for (const std::vector<std::string>& words : {std::vector<std::string>{"decode", "b.wav", "-f"},
                                                  {"decode", "a.w64", "-f", "-o", "link.wav"},
                                                  {"encode", "a.w64", "a.w64", "-f"}}) {
        const Outcome refused = shop.W64(words);
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.errors.find("would replace this file itself"), std::string::npos) << refused.errors;
    }
    EXPECT_EQ(shop.Read("a.w64"), before);
    EXPECT_EQ(shop.Read("b.wav"), before);
}

TEST_F(DecodeTest, TraceIsThePluginsOwn) {
    ASSERT_EQ(shop.W64({"decode", "a.w64", "--trace", "trace.txt"}).status, 0);
    EXPECT_TRUE(ReadText(shop.Path() / "trace.txt")
                    .starts_with("->->  [Open]\r\n  Opening file 'a.w64' for read access: Opened\r\n"));
    const Outcome onStandardError = shop.W64({"--trace", "-", "info", "a.w64"});
    EXPECT_TRUE(onStandardError.errors.starts_with("->->  [Open]\r\n"));
}

TEST_F(DecodeTest, MessagesNameTheFile) {
    shop.Write("plain.w64", ReadBytes(shop.Path() / "a.w64"));
    SoundFile(shop.Path() / "riff.w64", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw(Pattern(100));
    shop.Write("empty.w64", {});
    shop.Write("mulaw.w64", Wave64Bytes().Fmt(7, 1, 8000, 8).Data(Pattern(100)).File());
    shop.Write("\x1B[2J.w64", Pattern(100));
    const std::string notUTF8 = "bad\xFF.w64";
    Put(notUTF8);
    const struct {
        std::string file;
        const char* errors;
    } cases[] = {
        {"riff.w64", "w64: riff.w64: Error RIFF chunk unknown 'RIFF'\n"},
        {"empty.w64", "w64: empty.w64: Error cannot find 'fmt ' chunk.\n"},
        {"none.w64", "w64: none.w64: Error opening file 'none.w64' check no other program has it open.\n"},
        {"mulaw.w64", "w64: mulaw.w64: Error Cannot Create Wave Decoder (Unknown ACM ID: 7)?\n"},
        {"\x1B[2J.w64", "w64: ?[2J.w64: Error RIFF chunk unknown '?\?\?\?'\n"},
        {notUTF8, "w64: bad\xEF\xBF\xBD.w64: is no UTF-8 file name\n"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = shop.W64({"decode", c.file, "-o", "x.wav"});
        EXPECT_EQ(outcome.status, 1) << c.file;
        EXPECT_EQ(outcome.errors, c.errors);
    }
}

TEST_F(DecodeTest, InfoTellsWhatThereIs) {
    shop.Write("b.w64", Wave64Bytes()
                            .Chunk("bext", Pattern(602))
                            .Chunk("fmt ", Wave64Bytes::ExtensibleBody(3, 6, 48000, 32, 0x60F))
                            .Data(Pattern(size_t{24} * 72000))
                            .File());
    const Outcome text = shop.W64({"info", "b.w64"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.output,
              "b.w64\n"
              "  Format    float, 32-bit, 6 channels, 48000 Hz\n"
              "  Speakers  front left, front right, front center, low frequency, side left, side right\n"
              "  Duration  0:00:01.500 (72,000 frames)\n"
              "  Bit rate  9,216 kbit/s\n"
              "  Size      1,728,760 bytes\n"
              "  Chunks\n"
              "    bext                         602 bytes at 40\n"
              "    fmt                           40 bytes at 672\n"
              "    data                   1,728,000 bytes at 736\n");
    const auto json = nlohmann::json::parse(shop.W64({"info", "--json", "b.w64", "a.w64"}).output);
    EXPECT_EQ(json[0]["speakers"].size(), 6u);
    EXPECT_EQ(json[0]["chunks"][2]["name"], "data");
    EXPECT_EQ(json[1]["format"], "PCM, 16-bit, stereo, 8000 Hz");
    EXPECT_EQ(json[1]["frames"], 80000);
    EXPECT_EQ(json[1]["milliseconds"], 10000);
}

TEST_F(DecodeTest, FailedWritesAreNotMistakenForFiles) {
    const std::string limited =
        "ulimit -f 50; exec " + std::string(W64_COMMAND) + " ";  // blocks of 512 bytes
    for (const char* command : {"decode a.w64", "decode a.w64 -o a.flac", "decode a.w64 -o a.raw",
                                "encode a.w64 b.w64", "sample b.w64"}) {
        const Outcome outcome = shop.Run({"sh", "-c", limited + command});
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_NE(outcome.errors.find("cannot write: File too large"), std::string::npos) << outcome.errors;
        EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
    }
}

TEST_F(DecodeTest, InterruptLeavesNothingBehind) {
    // A reader that does not read keeps the command in the middle of its work.
    const std::string command =
        std::string("(") + W64_COMMAND + " sample long.w64 --seconds 1000 & pid=$!; " +
        "while ! ls .w64-*.part >/dev/null 2>&1; do sleep 0.01; done; " + "kill -TERM $pid; wait $pid)";
    EXPECT_EQ(shop.Run({"sh", "-c", command}).status, 128 + SIGTERM);
    EXPECT_EQ(shop.Files(), std::set<std::string>{"a.w64"});
}
