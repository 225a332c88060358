#include "PluginHost.h"
#include "TagBlock.h"
#include "Wave64Bytes.h"
#include "Workshop.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace w64 {

// Sanitizers use memory themselves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// A million empty chunks before `audio`. They never stand in our memory, as the peak of a child counts from its
// parent's.
void WriteTinyChunks(const std::filesystem::path& path, const Bytes& audio) {
    constexpr size_t chunks = 1'000'000;
    const Bytes tiny = Slice(Wave64Bytes().Chunk("bext", {}).File(), 40, 64);
    const Bytes whole = Wave64Bytes().Fmt(1, 2, 44100, 16).Data(audio).File();
    const Bytes header = Slice(Wave64Bytes().File(whole.size() + chunks * tiny.size()), 0, 40);
    std::ofstream file(path, std::ios::binary);
    const auto write = [&](const Bytes& bytes, size_t from) {
        file.write(reinterpret_cast<const char*>(bytes.data() + from),
                   static_cast<std::streamsize>(bytes.size() - from));
    };
    write(header, 0);
    for (size_t i = 0; i < chunks; ++i) write(tiny, 0);
    write(whole, header.size());
}

void DecodeEveryWay(const Workshop& shop) {
    for (const std::string output : {"a.wav", "a.flac", "a.raw"}) {
        shop.Run("w64 decode a.w64 -o " + output);
        shop.Run("w64 decode a.w64 -f --salvage -o " + output);
    }
    shop.Run("w64 decode a.w64 -f --rate 32000 --float -o a.wav");
}

TEST(Memory, StaysBoundedWhateverTheFileClaims) {
    const Bytes audio = Pattern(60000);
    constexpr uint64_t huge = uint64_t{1} << 62;
    const Bytes hugeFormat = Wave64Bytes::FmtBody(1, 65535, UINT32_MAX, 65535);
    for (const Bytes& file : {Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio, huge - 200).File(huge),
                              Wave64Bytes().Chunk("fmt ", hugeFormat, huge).Data(audio).File(),
                              Wave64Bytes().Fmt(1, 65535, UINT32_MAX, 8).Data(audio).File()}) {
        const Workshop shop;
        shop.Write("a.w64", file);
        DecodeEveryWay(shop);
    }
    const Workshop shop;
    WriteTinyChunks(shop.Path() / "a.w64", audio);
    DecodeEveryWay(shop);
    // More audio than the bound.
    const std::string sample = "w64 sample b.w64 --channels 8 --bits 16 --seconds 100";
    EXPECT_EQ(shop.Run(sample + " && w64 decode b.w64 -o b.wav --rate 44100 --bits 24").status, 0);
    rusage largest{};
    ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &largest), 0);
    EXPECT_LT(largest.ru_maxrss, 64 * 1024);
}

// Peak of this process's memory in KiB, and its open descriptors.
std::pair<long, int> Held() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    int descriptors = 0;
    for (int i = 0; i < 1024; ++i) descriptors += ::fcntl(i, F_GETFD) >= 0;
    return {usage.ru_maxrss, descriptors};
}

// After a hundredth of the rounds everything that is kept for later is there.
void ExpectNoGrowth(int rounds, const std::function<bool()>& round) {
    std::pair<long, int> before;
    for (int i = 0; i < rounds; ++i) {
        if (i == rounds / 100) before = Held();
        ASSERT_TRUE(round()) << i;
    }
    const auto after = Held();
    EXPECT_LE(after.first - before.first, 256);
    EXPECT_EQ(after.second, before.second);
}

// An instance per round, as a host has one per file.
TEST(Memory, OfTheDecoderDoesNotGrow) {
    const TempFolder folder;
    const Bytes whole =
        Wave64Bytes().Fmt(1, 2, 44100, 16).Chunk("junk", Bytes(300)).Data(Pattern(9000)).File();
    const auto path = folder.Write("a.w64", whole);
    const XStr name = FromUTF8(path.native());
    const XStr bad = FromUTF8(folder.Write("bad.w64", Slice(whole, 0, 60)).native());
    ::setenv("XCLASS_XREGISTRY_LOCATION", folder.Write("settings", {}).c_str(), 1);
    STNStdReport nowhere{};
    const auto withInstance = [&](const auto& use) {
        void* const handle = Plugin().Create(&nowhere);
        const bool done = use(handle);
        return Plugin().Destroy(handle) == 1 && done;
    };
    const auto decode = [&](const XStr& file) {
        return withInstance([&](void* handle) {
            STKvOpenDecoder open{file.c_str(), 31 - kvOpenPackets, {}, nullptr, 0, nullptr, 0};
            STKvAudioBlock block{};
            return Plugin().Open(handle, &open) && Plugin().DecodeBlock(handle, &block) &&
                   block.DataSize == 9000 && Plugin().Close(handle, nullptr);
        });
    };
    ExpectNoGrowth(100'000, [&] { return decode(name) && !decode(bad); });
    int edits = 0;
    ExpectNoGrowth(10'000, [&] {
        return withInstance([&](void* handle) {
            Bytes tags = Pack({{L"Title", XStr(1 + static_cast<size_t>(++edits) % 400, L't')}});
            STKvCodecGetSet record{};
            record.Text1 = name.c_str();
            record.TagData = tags.data();
            record.Value = static_cast<int32_t>(tags.size());
            return edits % 3 == 0 ? Plugin().DeleteATag(handle, name.c_str(), nullptr)
                                  : Plugin().Set(handle, kvSetTags, &record);
        });
    });
    EXPECT_EQ(Slice(ReadBytes(path), 24, whole.size()), Slice(whole, 24));
}
#endif

}  // namespace w64
