#include "Wave64Bytes.h"
#include "Workshop.h"

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
#endif

}  // namespace w64
