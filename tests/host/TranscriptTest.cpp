#include "HostWorkshop.h"
#include "SoundFile.h"
#include "TagBytes.h"
#include "host/tagging/BroadcastExtension.h"

namespace w64 {

using Transcript = HostTest;

// "commands.txt" has command lines, each after a "$ ", and what they print. What fails changes nothing.
TEST_F(Transcript, IsOfWhatTheCommandsPrint) {
    const Bytes ten = Wave64Bytes().Fmt(1, 2, 8000, 16).Data(Pattern(320'000)).File();  // seconds
    for (const char* name : {"ten.w64", "song.wav", "song.w64", "bad\xFF.w64"}) shop.Write(name, ten);
    shop.Write("cut.w64", Resized(ten, 1114));
    const Bytes list = List({{"INAM", Text(u"Song")}, {"IART", Text(u"Abba")}});
    BroadcastExtension bext;
    bext.description = "Take 1";
    bext.originator = "Recorder";
    bext.originationDate = "2026-11-22";
    bext.timeReference = 48000 * 36600;
    bext.version = 2;
    bext.umid = {6, 0x2B};
    bext.loudness = {-2300, 500, -100, BroadcastExtension::kNoLoudness, -1850};
    Wave64Bytes rich = Wave64Bytes().Chunk("bext", bext.ToBytes());
    rich.Chunk("fmt ", Wave64Bytes::ExtensibleBody(3, 6, 48000, 32, 0x60F)).Data(Pattern(size_t{24} * 72000));
    shop.Write("rich.w64", rich.SummaryList(list).Chunk("junk", Bytes(80)).File());
    Wave64Bytes loose = Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("junk", Bytes(2048)).Data(Pattern(6000));
    shop.Write("loose.w64", loose.Chunk("bext", Pattern(602)).Chunk("levl", {1}).File());
    shop.Write("odd.w64", Wave64Bytes().Fmt(1, 1, 8000, 8).Chunk("\x01unk", {1}).Data(Pattern(2)).File());
    shop.Write("nine.w64", Wave64Bytes().Fmt(1, 9, 8000, 16).Data(Pattern(180)).File());
    shop.Write("mulaw.w64", Wave64Bytes().Fmt(7, 1, 8000, 8).Data(Pattern(100)).File());
    shop.Write("rate.w64", Wave64Bytes().Fmt(1, 2, 44101, 8).Data(Pattern(600)).File());
    shop.Write("\x1B[2J.w64", Pattern(100));
    shop.Write("empty.w64", {});
    const Bytes nasty = Text(u"\x1B[2J\x9B 31m\x7F\r\n\b\x85 x");
    Wave64Bytes hostile = Wave64Bytes().Fmt(1, 2, 48000, 24).Chunk("\x1B[2m", Pattern(3)).Data(Pattern(6));
    shop.Write("nasty", hostile.SummaryList(List({{"INAM", nasty}, {"I\x1B[J", nasty}})).File());
    shop.Do("mkdir folder; mkfifo pipe; ln -s ten.w64 link.wav");
    SoundFile(shop.Path() / "riff.w64", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1).WriteRaw(Pattern(100));

    const std::string expected = ReadText(W64_TRANSCRIPT);
    const auto times = [&] {
        std::map<std::string, std::filesystem::file_time_type> all;
        for (const std::string& name : shop.Files())
            all[name] = std::filesystem::last_write_time(shop.Path() / name);
        return all;
    };
    std::istringstream lines(expected);
    std::string transcript;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("$ ")) continue;
        const auto before = times();
        const Outcome outcome = shop.Run(line.substr(2) + " 2>&1");
        transcript += line + "\n" + outcome.output;
        if (outcome.status == 0) continue;
        transcript += "exit " + std::to_string(outcome.status) + "\n";
        EXPECT_TRUE(times() == before) << line;
    }
    EXPECT_EQ(transcript, expected);
}

}  // namespace w64
