#include "TempFolder.h"
#include "base/XFile.h"
#include "base/XStr.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr int64_t kBlock = 65536;
constexpr int64_t kMost = std::numeric_limits<int64_t>::max();

Bytes Shuffled(const Bytes& file, int64_t position, int64_t delta, bool zeroFill) {
    Bytes result = file;
    result.resize(static_cast<size_t>(std::max<int64_t>(std::ssize(file) + delta, 0)));
    for (int64_t i = position; i < std::ssize(file); ++i) {
        result[static_cast<size_t>(i + delta)] = file[static_cast<size_t>(i)];
    }
    if (zeroFill && position < std::ssize(file))
        std::fill_n(result.begin() + position, std::max<int64_t>(delta, 0), 0);
    return result;
}

}  // namespace

TEST(Shuffle, MovesTheRestOfTheFile) {
    const Bytes before = Pattern(3 * kBlock + 100);
    const int64_t size = std::ssize(before);
    const TempFolder folder;
    for (const int64_t position :
         {int64_t{0}, int64_t{50}, kBlock, size - kBlock, size - 1, size, size + 9}) {
        for (const int64_t delta :
             {int64_t{0}, int64_t{1}, kBlock - 1, 4 * kBlock, int64_t{-8}, -kBlock, -size - 1}) {
            if (position < size && position + delta < 0) continue;
            for (const bool zeroFill : {false, true}) {
                const auto path = folder.Write("a", before);
                XFile file;
                ASSERT_TRUE(file.Open(FromUTF8(path.native()), XFile::Access::ReadWrite));
                EXPECT_TRUE(file.Shuffle(position, delta, zeroFill));
                EXPECT_TRUE(ReadBytes(path) == Shuffled(before, position, delta, zeroFill))
                    << position << " by " << delta << (zeroFill ? ", filled" : "");
            }
        }
    }
}

TEST(Shuffle, StopsAtWhatCannotBeDone) {
    const Bytes before = Pattern(1000);
    const TempFolder folder;
    const auto path = folder.Write("a", before);
    const struct {
        XFile::Access access;
        int64_t position;
        int64_t delta;
        bool succeeds;
    } cases[] = {
        {XFile::Access::ReadWrite, -1, 8, true},  // nothing to do
        {XFile::Access::ReadWrite, -kMost, -8, true},
        {XFile::Access::ReadWrite, 7, -8, false},  // to before the start
        {XFile::Access::ReadWrite, 0, -kMost - 1, false},
        {XFile::Access::Read, 0, 8, false},
        {XFile::Access::Read, 8, -8, false},
        {XFile::Access::Read, 1000, -8, false},
        {XFile::Access::Read, 8, 0, true},
    };
    for (const auto& c : cases) {
        XFile file;
        ASSERT_TRUE(file.Open(FromUTF8(path.native()), c.access));
        EXPECT_EQ(file.Shuffle(c.position, c.delta, false), c.succeeds) << c.position << " by " << c.delta;
        EXPECT_TRUE(ReadBytes(path) == before) << c.position << " by " << c.delta;
    }
}
