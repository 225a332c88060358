#include "Wave64Bytes.h"
#include "Workshop.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace w64 {

// Sanitizers use memory themselves.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(Memory, StaysBoundedWhateverTheFileClaims) {
    const Bytes audio = Pattern(60000);
    Wave64Bytes tinyChunks;
    for (int i = 0; i < 1'000'000; ++i) tinyChunks.Chunk("bext", {});
    constexpr uint64_t huge = uint64_t{1} << 62;
    const Bytes hugeFormat = Wave64Bytes::FmtBody(1, 65535, UINT32_MAX, 65535);
    const Bytes files[] = {
        Wave64Bytes().Fmt(1, 2, 48000, 24).Data(audio, huge - 200).File(huge),
        Wave64Bytes().Chunk("fmt ", hugeFormat, huge).Data(audio).File(huge),
        Wave64Bytes().Fmt(1, 65535, UINT32_MAX, 8).Data(audio).File(),
        tinyChunks.Fmt(1, 2, 44100, 16).Data(audio).File(),
    };
    for (const Bytes& file : files) {
        const Workshop shop;
        shop.Write("a.w64", file);
        for (const std::string output : {"a.wav", "a.flac", "a.raw"}) {
            shop.Run("w64 decode a.w64 -o " + output);
            shop.Run("w64 decode a.w64 -f --salvage -o " + output);
        }
        shop.Run("w64 decode a.w64 -f --rate 32000 --float -o a.wav");
    }
    const Workshop shop;  // more audio than the bound
    const std::string sample = "w64 sample a.w64 --channels 8 --bits 16 --seconds 100";
    EXPECT_EQ(shop.Run(sample + " && w64 decode a.w64 -o a.wav --rate 44100 --bits 24").status, 0);
    rusage largest{};
    ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &largest), 0);
    EXPECT_LT(largest.ru_maxrss, 64 * 1024);
}
#endif

}  // namespace w64
