#include "PluginHost.h"
#include "TagBlock.h"
#include "Workshop.h"

#include <atomic>
#include <thread>

namespace w64 {

// They share a recording and the settings; each edits a file of its own.
TEST(Threads, WorkIndependentlyWithAnInstanceEach) {
    const TempFolder folder;
    ::setenv("XCLASS_XREGISTRY_LOCATION", folder.Write("settings", {}).c_str(), 1);
    const Bytes audio = Pattern(4 * 50000);
    const Bytes file = Wave64Bytes().Fmt(1, 2, 44100, 16).Data(audio).File();
    const auto shared = folder.Write("a.w64", file);
    std::atomic<int> right = 0;
    const auto work = [&](const std::filesystem::path& own) {
        for (int i = 0; i < 20; ++i) {
            PluginHost host;
            const bool same = host.Open(shared, kvOpenDecode | kvOpenProperties) == 1 &&
                              host.DecodeAll() == audio && host.Close() == 1;
            const bool edited = host.WriteTags(own, Pack({{L"Title", XStr(7, L'a' + i)}})) == 1;
            const bool reread = host.Open(own, kvOpenDecode | kvOpenTags) == 1 &&
                                host.open.TagDataSize > 40 && host.DecodeAll() == audio;
            right += same && edited && reread;
        }
    };
    std::vector<std::thread> threads;
    for (const char* name : {"1", "2", "3", "4", "5", "6", "7", "8"})
        threads.emplace_back(work, folder.Write(name, file));
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 160);
}

TEST(Threads, OfTheCommandGoOnAfterABadFile) {
    const Workshop shop;
    const Bytes audio = Pattern(320000);
    shop.Write("bad.w64", Pattern(1000));
    for (const char* name : {"a.w64", "b.w64", "c.w64", "d.w64", "e.w64"})
        shop.Write(name, Wave64Bytes().Fmt(1, 2, 8000, 16).Data(audio).File());
    const Outcome outcome = shop.Run("mkdir out; w64 decode -j 3 --format raw -o out bad.w64 ?.w64");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.errors.starts_with("w64: bad.w64: Error RIFF chunk unknown '")) << outcome.errors;
    EXPECT_EQ(std::ranges::count(outcome.errors, '\n'), 1);
    for (const char* name : {"out/a.raw", "out/b.raw", "out/c.raw", "out/d.raw", "out/e.raw"})
        EXPECT_EQ(shop.Read(name), audio);
    EXPECT_EQ(shop.Run("ls out | wc -l").output, "5\n");
}

TEST(Threads, OfOneFileMakeNoDifference) {
    const Workshop shop;
    for (const unsigned channels : {2u, 3u}) {
        for (const unsigned frames : {60'000u, 1u}) {
            const Bytes audio = Pattern(size_t{2} * channels * frames);
            shop.Write("a.w64",
                       Wave64Bytes().Fmt(1, static_cast<uint16_t>(channels), 22050, 16).Data(audio).File());
            const Outcome outcome = shop.Run("for j in 1 2 5; do w64 decode a.w64 -q -j $j --rate 24000 "
                                             "--format raw -o - | md5sum; done | uniq | wc -l");
            EXPECT_EQ(outcome.output + outcome.errors, "1\n") << channels << " channels, " << frames;
        }
    }
}

// An edit that finds the file in use says so, and is made again here.
TEST(Processes, LoseNothingOfEachOther) {
    const Workshop shop;
    shop.Write("a.w64", Wave64Bytes().Fmt(1, 2, 8000, 16).Data(Pattern(4000)).File());
    const std::string names[] = {"Title",   "Artist",   "Copyright", "Genre",
                                 "Comment", "Engineer", "Keywords",  "Label"};
    const std::string keys[] = {"SafeEdit",  "LISTText",  "LISTPos",     "TagDefault",
                                "LISTAlbum", "LISTTrack", "LISTPadding", "LISTPaddingSize"};
    std::string line = "export XCLASS_XREGISTRY_LOCATION=$PWD/settings; ";
    for (size_t i = 0; i < 8; ++i) {
        line += "(w64 options Wave64" + keys[i] +
                "=1 >/dev/null || echo lost; for i in 1 2; do until w64 -q tags set a.w64 " + names[i] +
                "=$i 2>" + names[i] + " || ! grep -q 'in use\\|being edited' " + names[i] +
                "; do :; done; cat " + names[i] + "; done)& ";
    }
    const Outcome outcome = shop.Run(line + "wait");
    EXPECT_EQ(outcome.output + outcome.errors, "");
    const std::string tags = shop.Run("w64 tags a.w64").output;
    for (const std::string& name : names) EXPECT_HAS(name, tags);
    for (const std::string& key : keys)
        EXPECT_HAS("\"Wave64" + key + "\":1", ReadText(shop.Path() / "settings"));
    EXPECT_EQ(shop.Run("w64 check a.w64").status, 0);
    EXPECT_EQ(shop.Run("w64 decode a.w64 -o - --format raw").output.size(), 4000u);
}

}  // namespace w64
