#include "TempFolder.h"
#include "base/Platform.h"
#include "base/XFile.h"
#include "base/XMem.h"
#include "base/XStr.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sys/mman.h>
#include <unistd.h>

namespace w64 {

using Access = XFile::Access;

TEST(Text, GoesToUTF8AndBack) {
    const std::pair<XStr, std::string> cases[] = {
        {L"a\u00E9\u20AC", "a\xC3\xA9\xE2\x82\xAC"},
        {XStr(1, static_cast<wchar_t>(0x1F600)), "\xF0\x9F\x98\x80"},
        {XStr(1, L'\0'), std::string(1, '\0')},
    };
    for (const auto& [wide, utf8] : cases) {
        EXPECT_EQ(ToUTF8(wide), utf8);
        EXPECT_EQ(FromUTF8(utf8), wide);
    }
    for (const uint32_t c : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu})
        EXPECT_EQ(ToUTF8(XStr(1, static_cast<wchar_t>(c))), "\xEF\xBF\xBD") << std::hex << c;
    // A lone continuation, a cut sequence, an overlong form, a surrogate: one per malformed byte.
    for (const std::string malformed : {"\x80", "\xE2\x82", "\xC0\x80", "\xED\xA0\x80"})
        EXPECT_EQ(FromUTF8("a" + malformed + "z"), L"a" + XStr(malformed.size(), L'\uFFFD') + L"z");
}

TEST(Text, NamesFilesByAnyBytes) {
    EXPECT_EQ(FromFileName("K\xF6ln/\xC3\xB6"), L"K\xDCF6ln/\xF6");
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        std::string name(8, '\0');
        for (char& c : name) c = static_cast<char>(random() | (random() & 0x80));
        EXPECT_EQ(ToFileName(FromFileName(name)), name);
    }
}

TEST(Memory, KeepsContentsAcrossGrowthAndSelfAssignment) {
    XMem memory;
    ASSERT_TRUE(memory.Assign("0123456789", 10) && memory.Resize(100000));
    ASSERT_TRUE(memory.Assign(memory.Data() + 2, 5));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory.Data()), memory.Size()), "23456");
}

namespace {

class File : public testing::Test {
protected:
    // The path of a file with these contents.
    XStr With(const Bytes& bytes) const { return FromUTF8(folder.Write("a", bytes).native()); }
    Bytes Contents() const { return ReadBytes(folder.Path() / "a"); }

    TempFolder folder;
    XFile file;
};

}  // namespace

TEST_F(File, LocksAreSharedForReadingAndExclusiveForWriting) {
    const XStr path = With(Pattern(10));
    XFile other;
    ASSERT_TRUE(file.Open(path, Access::Read));
    EXPECT_TRUE(other.Open(path, Access::Read));
    other.Close();
    EXPECT_FALSE(other.Open(path, Access::ReadWrite));
    file.Close();
    ASSERT_TRUE(other.Open(path, Access::ReadWrite));
    EXPECT_FALSE(file.Open(path, Access::Read));
}

TEST_F(File, RefusesFoldersMissingFilesAndNamesWithNUL) {
    const XStr path = With(Pattern(10));
    for (const XStr& name :
         {FromUTF8(folder.Path().native()), path + L"missing", path + XStr(1, L'\0') + L"x"})
        EXPECT_FALSE(file.Open(name, Access::Read)) << name;
    EXPECT_FALSE(file.Open(path, Access::CreateNew) || file.IsOpen());
}

TEST_F(File, AViewSharesThePositionAndLeavesTheDescriptorOpen) {
    ASSERT_TRUE(file.Open(With(Pattern(100)), Access::ReadWrite));
    {
        XFile view;
        ASSERT_TRUE(view.Open(file.Handle()) && view.SetPosition(40));
    }
    uint8_t bytes[100] = {};
    EXPECT_EQ(file.GetPosition(), 40);
    EXPECT_EQ(file.Read(bytes, sizeof bytes), 60u);  // short at the end of the file
    EXPECT_EQ(bytes[0], 40);
    EXPECT_FALSE(file.SetPosition(-1));
    ASSERT_TRUE(file.SetFileSize(50) && file.SetPosition(50) && file.Write(bytes, 7));
    EXPECT_EQ(file.Size(), 57);
    file.Close();
    EXPECT_TRUE(file.Size() == -1 && file.Read(bytes, 1) == 0 && !file.Write(bytes, 1));
}

namespace {

Bytes Shuffled(const Bytes& before, int64_t position, int64_t delta, bool zeroFill) {
    Bytes after = before;
    after.resize(static_cast<size_t>(std::max<int64_t>(std::ssize(before) + delta, 0)));
    if (position >= std::ssize(before)) return after;
    std::copy(before.begin() + position, before.end(), after.begin() + position + delta);
    if (zeroFill) std::fill_n(after.begin() + position, std::max<int64_t>(delta, 0), 0);
    return after;
}

}  // namespace

#ifdef __linux__
// The kernel does not copy from memory to a disk.
TEST(Platform, CopiesBetweenFileSystems) {
    const TempFolder folder;
    const int from = ::memfd_create("from", 0);
    const int to = ::open(folder.Write("to", Bytes(6, '-')).c_str(), O_RDWR);
    ASSERT_EQ(::pwrite(from, "sample", 6, 0), 6);
    EXPECT_EQ(Platform::CopySomeBytes(from, to, 2, 100), 4);
    EXPECT_EQ(Platform::CopySomeBytes(from, to, 6, 100), 0);
    EXPECT_EQ(ReadText(folder.Path() / "to"), "--mple");
    ::close(from);
    ::close(to);
}
#endif

TEST_F(File, ShuffleMovesTheRest) {
    constexpr int64_t kBlock = 65536;
    const Bytes before = Pattern(3 * kBlock + 100);
    const int64_t size = std::ssize(before);
    for (const int64_t position : {int64_t{0}, int64_t{50}, kBlock, size - kBlock, size - 1, size + 9}) {
        for (const int64_t delta : {int64_t{1}, kBlock - 1, 4 * kBlock, int64_t{-8}, -kBlock, -size - 1}) {
            if (position < size && position + delta < 0) continue;
            for (const bool zeroFill : {false, true}) {
                ASSERT_TRUE(file.Open(With(before), Access::ReadWrite));
                EXPECT_TRUE(file.Shuffle(position, delta, zeroFill));
                EXPECT_TRUE(Contents() == Shuffled(before, position, delta, zeroFill))
                    << position << " by " << delta << (zeroFill ? ", filled" : "");
                file.Close();
            }
        }
    }
}

TEST_F(File, ShuffleStopsAtWhatCannotBeDone) {
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    const std::tuple<Access, int64_t, int64_t, bool> cases[] = {
        {Access::ReadWrite, -1, 8, true},  // nothing to do
        {Access::Read, 8, 0, true},
        {Access::ReadWrite, 7, -8, false},  // to before the start
        {Access::ReadWrite, 0, -kMax - 1, false},
        {Access::Read, 0, 8, false},
        {Access::Read, 8, -8, false},
        {Access::Read, 1000, -8, false},
    };
    const Bytes before = Pattern(1000);
    for (const auto& [access, position, delta, succeeds] : cases) {
        ASSERT_TRUE(file.Open(With(before), access));
        EXPECT_TRUE(file.Shuffle(position, delta, false) == succeeds && Contents() == before)
            << position << " by " << delta;
        file.Close();
    }
}

}  // namespace w64
