#include "PluginHost.h"
#include "Workshop.h"

#include <mutex>
#include <thread>

namespace w64 {

TEST(Threads, DecodeIndependentlyWithAnInstanceEach) {
    const TempFolder folder;
    const Bytes audio = Pattern(4 * 50000);
    const auto path = folder.Write("a.w64", Wave64Bytes().Fmt(1, 2, 44100, 16).Data(audio).File());
    int right = 0;
    std::mutex counting;
    const auto decode = [&] {
        for (int i = 0; i < 20; ++i) {
            PluginHost host;
            const bool same = host.Open(path) == 1 && host.DecodeAll() == audio && host.Close() == 1;
            const std::lock_guard lock(counting);
            right += same;
        }
    };
    std::thread first(decode), second(decode);
    first.join();
    second.join();
    EXPECT_EQ(right, 40);
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

}  // namespace w64
