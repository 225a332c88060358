#include "settings/XRegistry.h"
#include "TempFolder.h"
#include "base/Base64.h"
#include "base/XFile.h"
#include "settings/XRegistryTransaction.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const wchar_t* kPath = L"Software\\Maker\\Product";
const XRegistry::MainKey kUser = XRegistry::CurrentUser;

class Registry : public testing::Test {
protected:
    Registry() { Locate(file.native()); }
    ~Registry() override { ::unsetenv("XCLASS_XREGISTRY_LOCATION"); }

    static void Locate(const std::string& location) {
        XRegistry::SetRegFileLocation(FromUTF8(location), true);
    }
    void Put(const std::string& text) const { folder.Write("settings", {text.begin(), text.end()}); }
    std::string Text() const { return ReadText(file); }

    TempFolder folder;
    std::filesystem::path file = folder.Path() / "settings";
};

// Whether `body` is true in a process of its own.
template <class Body>
bool InChild(Body body) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body() ? 0 : 1);
    int status = 1;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status == 0;
}

bool SetMany(const wchar_t* prefix, int count) {
    bool good = true;
    for (int i = 0; i < count; ++i)
        good &= XRegistry::SetInt32(i, (prefix + Int2Str(i)).c_str(), kUser, kPath);
    return good;
}

bool HaveMany(const wchar_t* prefix, int count) {
    bool good = true;
    for (int i = 0; i < count; ++i) {
        bool missing = true;
        good &= XRegistry::GetInt32((prefix + Int2Str(i)).c_str(), kUser, kPath, &missing) == i && !missing;
    }
    return good;
}

XStr Joined(const XStrList& list) {
    XStr text;
    for (const XStr& item : list) text += item + L";";
    return text;
}

}  // namespace

TEST_F(Registry, WithoutAFileEverythingIsMissing) {
    bool missing = false;
    EXPECT_EQ(XRegistry::GetDWORD(L"Wave64LISTPos", kUser, kPath, &missing), 0u);
    EXPECT_TRUE(missing);
    XStrList names;
    names.Append(L"old");
    EXPECT_FALSE(XRegistry::EnumKeys(names, kUser, kPath) || XRegistry::DoesKeyExist(kUser, L""));
    EXPECT_EQ(names.Count(), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Registry, KeepsEveryTypeForOtherProcesses) {
    const Bytes data = Pattern(1000);
    const XStr text = L"\u00E9\n\"\\\u20AC" + XStr(1, L'\0') + XStr(1, static_cast<wchar_t>(0x1F600));
    XStrList list;
    for (const XStr& item : {XStr(L"a,b"), XStr(), text}) list.Append(item);
    ASSERT_TRUE(InChild([&] {
        return XRegistry::SetDWORD(0xFFFFFFFF, L"dword", kUser, kPath) &&
               XRegistry::SetInt32(INT32_MIN, L"int32", kUser, kPath) &&
               XRegistry::SetInt64(INT64_MIN, L"int64", kUser, kPath) &&
               XRegistry::SetString(text, L"string", kUser, kPath) &&
               XRegistry::SetBinaryData(data.data(), data.size(), L"binary", kUser, kPath) &&
               XRegistry::SetStringList(list, L"list", kUser, kPath);
    }));
    bool missing = true;
    EXPECT_EQ(XRegistry::GetDWORD(L"DWord", kUser, L"\\\\SOFTWARE\\maker\\Product\\\\", &missing),
              0xFFFFFFFF);
    EXPECT_FALSE(missing);
    EXPECT_EQ(XRegistry::GetInt32(L"int32", kUser, kPath), INT32_MIN);
    EXPECT_EQ(XRegistry::GetInt64(L"int64", kUser, kPath), INT64_MIN);
    EXPECT_EQ(XRegistry::GetDWORD(L"int64", kUser, kPath), 0u);  // the low half
    EXPECT_EQ(XRegistry::GetString(L"string", kUser, kPath), text);
    EXPECT_EQ(XRegistry::GetValueLength(L"string", kUser, kPath), text.size());
    const XMem memory = XRegistry::GetBinaryDataToXMem(L"binary", kUser, kPath);
    EXPECT_EQ(Bytes(memory.Data(), memory.Data() + memory.Size()), data);
    uint8_t few[3] = {9, 9, 9};
    EXPECT_EQ(XRegistry::GetBinaryData(few, 2, L"binary", kUser, kPath), data.size());
    EXPECT_EQ(Bytes(few, few + 3), (Bytes{0, 1, 9}));
    XStrList read;
    EXPECT_TRUE(XRegistry::GetStringList(read, L"list", kUser, kPath));
    EXPECT_EQ(Joined(read), Joined(list));

    EXPECT_FALSE(XRegistry::GetStringList(read, L"string", kUser, kPath));
    EXPECT_EQ(XRegistry::GetString(L"dword", kUser, kPath, &missing), L"");
    EXPECT_TRUE(missing);
    missing = false;
    EXPECT_TRUE(XRegistry::GetBinaryDataToXMem(L"string", kUser, kPath, &missing).IsEmpty() && missing);
    EXPECT_TRUE(XRegistry::EnumValueNames(read, kUser, kPath));
    EXPECT_EQ(Joined(read), L"dword;int32;int64;string;binary;list;");
    EXPECT_TRUE(XRegistry::EnumKeys(read, kUser, L"software"));
    EXPECT_EQ(Joined(read), L"Maker;");
}

TEST_F(Registry, ProcessesAndThreadsLoseNothingOfEachOther) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(SetMany(L"child", 150) ? 0 : 1);
    EXPECT_TRUE(SetMany(L"parent", 150));
    int status = 1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::thread writer([] { EXPECT_TRUE(SetMany(L"thread", 50)); });
    std::thread reader([] {
        for (int i = 0; i < 50; ++i) EXPECT_TRUE(HaveMany(L"parent", 3));
    });
    EXPECT_TRUE(SetMany(L"main", 50));
    writer.join();
    reader.join();
    EXPECT_TRUE(HaveMany(L"child", 150) && HaveMany(L"parent", 150));
    EXPECT_TRUE(HaveMany(L"thread", 50) && HaveMany(L"main", 50));
}

TEST_F(Registry, SeesEveryChangeOfTheFileAndOfItsLocation) {
    using namespace std::chrono_literals;
    const auto now = std::filesystem::file_time_type::clock::now();
    const auto change = [&](const std::string& name, int value, auto time) {
        const std::string text = "{\"HKCU\":{\"v\":" + std::to_string(value) + "}}";
        std::filesystem::last_write_time(folder.Write(name, {text.begin(), text.end()}), time);
    };
    const auto value = [] { return XRegistry::GetInt32(L"v", kUser, L""); };
    for (const int i : {1, 2, 3}) {  // within one step of the clock
        change("settings", i, now);
        EXPECT_EQ(value(), i);
    }
    for (const int i : {4, 5}) {  // long ago: a copy is kept
        change("settings", i, now - i * 1h);
        EXPECT_EQ(value(), i);
    }
    ASSERT_TRUE(XRegistry::SetInt32(6, L"v", kUser, L""));
    std::filesystem::last_write_time(file, now - 5h);
    EXPECT_EQ(value(), 6);
    change("other", 7, now - 5h);
    Locate(folder.Path() / "other");
    EXPECT_EQ(value(), 7);
    std::filesystem::remove(folder.Path() / "other");
    EXPECT_EQ(value(), 0);
}

TEST_F(Registry, LeavesAMalformedFileAlone) {
    const std::string deep(100000, '[');
    for (const std::string& text :
         {std::string("{\"HKCU\":{\"v\":1.5}}"), std::string("junk"), deep, std::string("{\"HKCU\":"),
          std::string("{} {}"), std::string("{\"HKCU\":{\"w\":\"\xFF\"}}")}) {
        Put(text);
        EXPECT_FALSE(XRegistry::DoesValueExist(L"v", kUser, L""));
        EXPECT_FALSE(XRegistry::SetDWORD(1, L"v", kUser, kPath));
        EXPECT_FALSE(XRegistry::DeleteVal(L"v", kUser, kPath));
        EXPECT_EQ(Text(), text);
    }
    Put("{\"HKCU\":{\"w\":\"\\ud83d\\ude00\"}}");
    EXPECT_TRUE(XRegistry::DeleteVal(L"none", kUser, L"") && XRegistry::SetDWORD(1, L"v", kUser, L""));
    EXPECT_NE(Text().find("\xF0\x9F\x98\x80"), std::string::npos);
    for (const char* text : {"", " ", "[1]", "null"}) {  // settings with nothing in them
        Put(text);
        EXPECT_TRUE(XRegistry::DeleteVal(L"v", kUser, L""));
        EXPECT_EQ(Text(), text);
        EXPECT_TRUE(XRegistry::SetDWORD(1, L"v", kUser, L""));
        EXPECT_EQ(Text(), "{\n    \"HKCU\":{\n        \"v\":1\n    }\n}");
    }
}

TEST_F(Registry, FailsWhereThereIsNoFileToWrite) {
    const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", folder.Path().c_str(), 1);
    for (const std::string& location : {std::string("~"), std::string(), file.native() + "/none"}) {
        Locate(location);
        EXPECT_FALSE(XRegistry::SetDWORD(1, L"v", kUser, kPath)) << location;
        EXPECT_FALSE(XRegistry::DoesValueExist(L"v", kUser, kPath)) << location;
    }
    Locate("~/settings");
    EXPECT_TRUE(XRegistry::SetDWORD(1, L"v", kUser, kPath));
    EXPECT_TRUE(std::filesystem::exists(file));
    XRegistry::SetRegFileLocation(L"elsewhere", false);
    EXPECT_EQ(XRegistry::RegFileLocation(), FromUTF8(file.native()));
    ::unsetenv("XCLASS_XREGISTRY_LOCATION");
    EXPECT_FALSE(XRegistry::IsRegFileLocationSet());
    EXPECT_EQ(XRegistry::RegFileLocation(), FromUTF8(folder.Path().native()) + L"/.XRegistry");
    ::unsetenv("HOME");
    EXPECT_FALSE(XRegistry::SetDWORD(1, L"v", kUser, kPath));
    ::setenv("HOME", home.c_str(), 1);
}

TEST_F(Registry, MakesTheFileForItsOwnerAlone) {
    const mode_t before = ::umask(0);
    EXPECT_TRUE(XRegistry::SetDWORD(1, L"v", kUser, kPath));
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST_F(Registry, PutsTheOldTextBackWhenAWriteFailsHalfWay) {
    ASSERT_TRUE(XRegistry::SetString(XStr(3000, L'x'), L"old", kUser, kPath));
    const std::string text = Text();
    EXPECT_TRUE(InChild([] {
        const rlimit limit{4096, 4096};
        std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return !XRegistry::SetString(XStr(8000, L'y'), L"old", kUser, kPath) &&
               XRegistry::GetString(L"old", kUser, kPath) == XStr(3000, L'x');
    }));
    EXPECT_EQ(Text(), text);
    ASSERT_TRUE(XRegistry::SetString(L"", L"old", kUser, kPath));  // a shorter text leaves no rest behind
    EXPECT_EQ(Text(), "{\n    \"HKCU\":{\n        \"Software\":{\n            \"Maker\":{\n"
                      "                \"Product\":{\n                    \"old\":\"\"\n"
                      "                }\n            }\n        }\n    }\n}");
}

TEST_F(Registry, AValueAndASubkeyShareANameAndGoOnTheirOwn) {
    Put("{\"HKCU\":{\"n\":{\"v\":1},\"N\":2,\"n\":3}}");
    ASSERT_TRUE(XRegistry::SetInt32(4, L"n", kUser, L""));
    EXPECT_EQ(XRegistry::GetInt32(L"n", kUser, L""), 4);
    EXPECT_EQ(XRegistry::GetInt32(L"v", kUser, L"N"), 1);
    ASSERT_TRUE(XRegistry::DeleteVal(L"n", kUser, L"") && XRegistry::DeleteVal(L"n", kUser, L""));
    EXPECT_FALSE(XRegistry::DoesValueExist(L"n", kUser, L""));
    ASSERT_TRUE(XRegistry::SetInt32(5, L"n", kUser, L"") && XRegistry::DeleteKeyAndSubKeys(kUser, L"n"));
    EXPECT_FALSE(XRegistry::DoesKeyExist(kUser, L"n"));
    EXPECT_EQ(XRegistry::GetInt32(L"n", kUser, L""), 5);
}

TEST_F(Registry, FallsBackToTheDefaults) {
    ASSERT_TRUE(XRegistry::SetInt32(1, L"v", nullptr, nullptr));
    EXPECT_EQ(Text(), "{\n    \"UNSPEC\":{\n        \"v\":1\n    }\n}");
    XRegistry::SetDefault(kUser, kPath);
    EXPECT_TRUE(XRegistry::SetInt32(2, L"v", nullptr, nullptr));
    EXPECT_EQ(XRegistry::GetInt32(L"v", kUser, kPath), 2);
    EXPECT_FALSE(XRegistry::DoesValueExist(L"v", nullptr, L""));
    XRegistry::SetDefault(nullptr, nullptr);
    EXPECT_EQ(XRegistry::GetInt32(L"v", nullptr, nullptr), 1);
}

TEST_F(Registry, ATransactionShowsItsChangesAndWritesThemTogether) {
    ASSERT_TRUE(XRegistry::SetInt32(1, L"a", kUser, L"from\\sub") &&
                XRegistry::SetInt32(2, L"A", kUser, L"to\\SUB") &&
                XRegistry::SetInt32(3, L"kept", kUser, L"to"));
    const std::string before = Text();
    {
        XRegistryTransaction changes;
        changes.SetString(L"text", L"b", kUser, L"from");
        changes.CopyKey(kUser, L"from", kUser, L"to");
        changes.CopyKey(kUser, L"to", kUser, L"to\\copy");
        changes.CopyKey(kUser, L"nothing", kUser, L"none");
        changes.DeleteKeyAndSubKeys(kUser, L"from");
        changes.DeleteKeyAndSubKeys(kUser, L"later");
        EXPECT_EQ(changes.GetInt32(L"a", kUser, L"to\\sub"), 1);
        EXPECT_EQ(changes.GetString(L"b", kUser, L"to\\copy"), L"text");
        bool missing = false;
        EXPECT_EQ(changes.GetString(L"b", kUser, L"from", &missing), L"");
        EXPECT_TRUE(missing);
        EXPECT_EQ(Text(), before);
        XRegistryTransaction dropped;
        dropped.DeleteVal(L"kept", kUser, L"to");
        EXPECT_TRUE(changes.Commit());
        EXPECT_TRUE(XRegistry::SetInt32(4, L"a", kUser, L"later") && changes.Commit());
    }
    XStrList names;
    EXPECT_TRUE(XRegistry::EnumKeys(names, kUser, L""));
    EXPECT_EQ(Joined(names), L"to;later;");
    EXPECT_TRUE(XRegistry::EnumKeys(names, kUser, L"to"));
    EXPECT_EQ(Joined(names), L"SUB;copy;");
    EXPECT_TRUE(XRegistry::EnumValueNames(names, kUser, L"to\\copy"));
    EXPECT_EQ(Joined(names), L"kept;b;");
    EXPECT_EQ(XRegistry::GetInt32(L"a", kUser, L"to\\copy\\sub"), 1);
}

TEST_F(Registry, ACopyOfAKeyShowsWhatTheKeyShows) {
    Put("{\"HKCU\":{\"from\":{\"v\":1,\"V\":2,\"k\":{\"v\":3},\"K\":{\"v\":4,\"hidden\":5}}}}");
    XRegistryTransaction copy;
    copy.CopyKey(kUser, L"from", nullptr, L"to");
    ASSERT_TRUE(copy.Commit());
    EXPECT_EQ(XRegistry::GetInt32(L"v", nullptr, L"to"), 1);
    EXPECT_EQ(XRegistry::GetInt32(L"v", nullptr, L"to\\k"), 3);
    EXPECT_FALSE(XRegistry::DoesValueExist(L"hidden", nullptr, L"to\\k"));
}

TEST_F(Registry, NoChangeMakesTheTreeTooDeepToRead) {
    const auto path = [](int depth) {
        XStr text;
        for (int i = 0; i < depth; ++i) text += L"k\\";
        return text;
    };
    const int most = XJSON::MaxDepth - 3;  // the root, the main key and a list
    XStrList list;
    list.Append(L"x");
    ASSERT_TRUE(XRegistry::SetStringList(list, L"v", kUser, path(most).c_str()));
    EXPECT_TRUE(XRegistry::GetStringList(list, L"v", kUser, path(most).c_str()));
    const std::string before = Text();
    EXPECT_FALSE(XRegistry::SetDWORD(1, L"v", kUser, path(most + 1).c_str()));
    EXPECT_FALSE(XRegistry::SetDWORD(1, L"v", kUser, path(1000000).c_str()));
    XRegistryTransaction deeper;
    deeper.SetDWORD(1, L"first", kUser, L"");
    for (int i = 0; i < 1000; ++i) deeper.CopyKey(kUser, L"k", kUser, path(200).c_str());
    EXPECT_EQ(deeper.GetDWORD(L"first", kUser, L""), 1u);
    EXPECT_FALSE(deeper.Commit());
    EXPECT_EQ(Text(), before);
}

TEST(Base64, GoesToTextAndBackAndTakesNothingElse) {
    const std::pair<std::string, XStr> cases[] = {
        {"", L""},        {"f", L"Zg=="},          {"fo", L"Zm8="},
        {"foo", L"Zm9v"}, {"foobar", L"Zm9vYmFy"}, {"\xFB\xFF\xBF", L"+/+/"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(ToBase64(bytes.data(), bytes.size()), text);
        const std::optional<XMem> back = FromBase64(text);
        ASSERT_TRUE(back && back->Size() == bytes.size());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(back->Data()), back->Size()), bytes);
    }
    for (const XStr text :
         {L"Zg=", L"Zg", L"=", L"====", L"Z===", L"Zh==", L"Zm9=", L"Zg==Zg==", L"Z g=", L"-_-_"})
        EXPECT_FALSE(FromBase64(text)) << ToUTF8(text);
}
