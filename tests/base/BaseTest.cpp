#include "TempFolder.h"
#include "base/XFile.h"
#include "base/XMem.h"
#include "base/XStr.h"

#include <gtest/gtest.h>

TEST(Text, GoesToUTF8AndBack) {
    const std::pair<XStr, std::string> cases[] = {
        {L"plain", "plain"},
        {L"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
        {XStr(1, static_cast<wchar_t>(0x1F600)), "\xF0\x9F\x98\x80"},
        {XStr(1, L'\0'), std::string(1, '\0')},
    };
    for (const auto& [wide, utf8] : cases) {
        EXPECT_EQ(ToUTF8(wide), utf8);
        EXPECT_EQ(FromUTF8(utf8), wide);
    }
}

TEST(Text, WhatIsNoCharacterBecomesTheReplacementCharacter) {
    const std::string replacement = "\xEF\xBF\xBD";
    for (const uint32_t c : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ToUTF8(XStr(1, static_cast<wchar_t>(c))), replacement) << std::hex << c;
    }
    // A lone continuation, a cut sequence, an overlong form, a surrogate: one per malformed byte.
    EXPECT_EQ(FromUTF8("a\x80z"), L"a\uFFFDz");
    EXPECT_EQ(FromUTF8("\xE2\x82"), L"\uFFFD\uFFFD");
    EXPECT_EQ(FromUTF8("\xC0\x80"), L"\uFFFD\uFFFD");
    EXPECT_EQ(FromUTF8("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");
}

TEST(Memory, KeepsContentsAcrossGrowthAndSelfAssignment) {
    XMem memory;
    ASSERT_TRUE(memory.Assign("0123456789", 10));
    ASSERT_TRUE(memory.Resize(100000));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory.Data()), 10), "0123456789");
    ASSERT_TRUE(memory.Assign(memory.Data() + 2, 5));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory.Data()), memory.Size()), "23456");
}

namespace {
XStr Wide(const std::filesystem::path& path) { return FromUTF8(path.native()); }
}  // namespace

TEST(File, LocksAreSharedForReadingAndExclusiveForWriting) {
    const TempFolder folder;
    const XStr path = Wide(folder.Write("a", Pattern(10)));
    XFile first, second;
    ASSERT_TRUE(first.Open(path, XFile::Access::Read));
    EXPECT_TRUE(second.Open(path, XFile::Access::Read));
    second.Close();
    EXPECT_FALSE(second.Open(path, XFile::Access::ReadWrite));
    first.Close();
    ASSERT_TRUE(second.Open(path, XFile::Access::ReadWrite));
    EXPECT_FALSE(first.Open(path, XFile::Access::Read));
}

TEST(File, RefusesFoldersMissingFilesAndNamesWithNUL) {
    const TempFolder folder;
    const XStr path = Wide(folder.Write("a", Pattern(10)));
    XFile file;
    EXPECT_FALSE(file.Open(Wide(folder.Path()), XFile::Access::Read));
    EXPECT_FALSE(file.Open(path + L"missing", XFile::Access::Read));
    EXPECT_FALSE(file.Open(path + XStr(1, L'\0') + L"x", XFile::Access::Read));
    EXPECT_FALSE(file.Open(path, XFile::Access::CreateNew));
    EXPECT_FALSE(file.IsOpen());
}

TEST(File, AViewSharesThePositionAndLeavesTheDescriptorOpen) {
    const TempFolder folder;
    XFile owner;
    ASSERT_TRUE(owner.Open(Wide(folder.Write("a", Pattern(100))), XFile::Access::ReadWrite));
    {
        XFile view;
        ASSERT_TRUE(view.Open(owner.Handle()));
        ASSERT_TRUE(view.SetPosition(40));
    }
    uint8_t bytes[100] = {};
    EXPECT_EQ(owner.GetPosition(), 40);
    EXPECT_EQ(owner.Read(bytes, sizeof bytes), 60u);  // short at the end of the file
    EXPECT_EQ(bytes[0], 40);
    EXPECT_FALSE(owner.SetPosition(-1));
    ASSERT_TRUE(owner.SetFileSize(50) && owner.SetPosition(50) && owner.Write(bytes, 7));
    EXPECT_EQ(owner.Size(), 57);
    XFile closed;
    EXPECT_EQ(closed.Size(), -1);
    EXPECT_EQ(closed.Read(bytes, 1), 0u);
    EXPECT_FALSE(closed.Write(bytes, 1));
}
