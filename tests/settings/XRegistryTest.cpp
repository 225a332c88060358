#include "settings/XRegistry.h"
#include "Expect.h"
#include "TempFolder.h"
#include "base/Base64.h"
#include "settings/XJSON.h"
#include "settings/XRegistryTransaction.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace w64 {

namespace {

constexpr const wchar_t* kPath = L"Software\\Maker\\Product";
const XRegistry::MainKey kUser = XRegistry::CurrentUser;

bool Set(int value, const XStr& name, const XStr& path = kPath) {
    return XRegistry::SetInt32(value, name.c_str(), kUser, path.c_str());
}

// -1 where there is none.
int Get(const XStr& name, const XStr& path = kPath) {
    bool missing = false;
    const int value = XRegistry::GetInt32(name.c_str(), kUser, path.c_str(), &missing);
    EXPECT_EQ(missing, !XRegistry::DoesValueExist(name.c_str(), kUser, path.c_str()));
    return missing ? -1 : value;
}

// Another process of this program.
class Process {
public:
    template <class Body>
    explicit Process(Body body) : id_(::fork()) {
        if (id_ == 0) ::_exit(body() ? 0 : 1);
    }
    bool Succeeds() const {
        int status = 1;
        return ::waitpid(id_, &status, 0) == id_ && status == 0;
    }

private:
    pid_t id_;
};

XStr Joined(const XStrList& list) {
    XStr text;
    for (const XStr& item : list) text += item + L";";
    return text;
}

XStr KeysOf(const wchar_t* path) {
    XStrList names;
    names.Append(L"old");
    const bool exists = XRegistry::EnumKeys(names, kUser, path);
    EXPECT_EQ(exists, XRegistry::DoesKeyExist(kUser, path));
    return exists ? Joined(names) : L"(none)" + Joined(names);
}

class Registry : public testing::Test {
protected:
    Registry() { Locate(file.native()); }
    ~Registry() override { ::unsetenv("XCLASS_XREGISTRY_LOCATION"); }

    static void Locate(const std::string& location) {
        XRegistry::SetRegFileLocation(FromUTF8(location), true);
    }
    void Put(const std::string& text) const { folder.Write("settings", {text.begin(), text.end()}); }
    std::string Text() const { return ReadText(file); }
    auto FilesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(folder.Path()), {});
    }

    TempFolder folder;
    std::filesystem::path file = folder.Path() / "settings";
};

}  // namespace

TEST_F(Registry, WithoutAFileEverythingIsMissingAndAChangeMakesOneForItsOwner) {
    EXPECT_EQ(XRegistry::GetDWORD(L"Wave64LISTPos", kUser, kPath), 0u);
    EXPECT_EQ(Get(L"Wave64LISTPos"), -1);
    EXPECT_EQ(KeysOf(L""), L"(none)");
    EXPECT_TRUE(XRegistry::DeleteVal(L"v", kUser, kPath) && XRegistry::DeleteKeyAndSubKeys(kUser, kPath));
    EXPECT_TRUE(XRegistry::IsFileReadable() && !std::filesystem::exists(file));
    const mode_t before = ::umask(0);
    EXPECT_TRUE(Set(1, L"v"));
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
}

TEST_F(Registry, KeepsEveryTypeForOtherProcesses) {
    const Bytes data = Pattern(1000);
    const XStr text = L"\u00E9\n\"\\\u20AC" + XStr(1, L'\0') + XStr(1, static_cast<wchar_t>(0x1F600));
    XStrList list;
    for (const XStr& item : {XStr(L"a,b"), XStr(), text}) list.Append(item);
    const Process other([&] {
        return XRegistry::SetDWORD(0xFFFFFFFF, L"dword", kUser, kPath) && Set(INT32_MIN, L"int32") &&
               XRegistry::SetInt64(INT64_MIN, L"int64", kUser, kPath) &&
               XRegistry::SetString(text, L"string", kUser, kPath) &&
               XRegistry::SetBinaryData(data.data(), data.size(), L"binary", kUser, kPath) &&
               XRegistry::SetStringList(list, L"list", kUser, kPath);
    });
    ASSERT_TRUE(other.Succeeds());
    EXPECT_EQ(XRegistry::GetDWORD(L"DWord", kUser, L"\\\\SOFTWARE\\maker\\Product\\\\"), 0xFFFFFFFF);
    EXPECT_EQ(Get(L"int32"), INT32_MIN);
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

    // A value of another type is missing.
    EXPECT_FALSE(XRegistry::GetStringList(read, L"string", kUser, kPath));
    bool missing[2] = {};
    EXPECT_EQ(XRegistry::GetString(L"dword", kUser, kPath, &missing[0]), L"");
    EXPECT_TRUE(XRegistry::GetBinaryDataToXMem(L"string", kUser, kPath, &missing[1]).IsEmpty());
    EXPECT_TRUE(missing[0] && missing[1]);
    EXPECT_TRUE(XRegistry::EnumValueNames(read, kUser, kPath));
    EXPECT_EQ(Joined(read), L"dword;int32;int64;string;binary;list;");
    EXPECT_EQ(KeysOf(L"software"), L"Maker;");
}

TEST_F(Registry, ProcessesAndThreadsLoseNothingOfEachOther) {
    const auto setMany = [](const XStr& prefix) {
        bool good = true;
        for (int i = 0; i < 20; ++i) good &= Set(i, prefix + Int2Str(i)) && Get(prefix + L"0") == 0;
        return good;
    };
    const Process other([&] { return setMany(L"other"); });
    std::thread thread([&] { EXPECT_TRUE(setMany(L"thread")); });
    EXPECT_TRUE(setMany(L"main"));
    thread.join();
    EXPECT_TRUE(other.Succeeds());
    for (const XStr prefix : {L"other", L"thread", L"main"}) {
        for (int i = 0; i < 20; ++i) EXPECT_EQ(Get(prefix + Int2Str(i)), i);
    }
}

TEST_F(Registry, SeesEveryChangeOfTheFileAndOfItsLocation) {
    using namespace std::chrono_literals;
    const auto now = std::filesystem::file_time_type::clock::now();
    // Within one step of the clock; long ago, when a copy is kept; somewhere else at the same time.
    const std::pair<std::string, std::chrono::hours> changes[] = {
        {"settings", 0h}, {"settings", 0h}, {"settings", 4h}, {"settings", 5h}, {"other", 5h}};
    int value = 0;
    for (const auto& [name, age] : changes) {
        const std::string text = "{\"HKCU\":{\"v\":" + std::to_string(++value) + "}}";
        std::filesystem::last_write_time(folder.Write(name, {text.begin(), text.end()}), now - age);
        Locate(folder.Path() / name);
        EXPECT_EQ(Get(L"v", L""), value);
    }
    ASSERT_TRUE(Set(6, L"v", L""));
    std::filesystem::last_write_time(folder.Path() / "other", now - 5h);
    EXPECT_EQ(Get(L"v", L""), 6);
    std::filesystem::remove(folder.Path() / "other");
    EXPECT_EQ(Get(L"v", L""), -1);
}

TEST_F(Registry, LeavesAMalformedFileAlone) {
    for (const std::string& text :
         std::initializer_list<std::string>{R"({"HKCU":{"v":1.5}})", std::string(100000, '['), R"({"HKCU":)",
                                            "{} {}", "{\"HKCU\":{\"w\":\"\xFF\"}}"}) {
        Put(text);
        EXPECT_EQ(Get(L"v", L""), -1);
        EXPECT_FALSE(Set(1, L"v") || XRegistry::DeleteVal(L"v", kUser, kPath) || XRegistry::IsFileReadable());
        EXPECT_EQ(Text(), text);
    }
    // These can be read, but not all of it could be written again.
    for (const char* value :
         {"18446744073709551615", "-9223372036854775809", "\"\\ud83d\"", "\"C:\\Users\""}) {
        const std::string text = std::string("{\"HKCU\":{\"v\":1,\"w\":") + value + "}}";
        Put(text);
        EXPECT_EQ(Get(L"v", L""), 1);
        EXPECT_TRUE(XRegistry::IsFileReadable() && !Set(2, L"v", L"")) << value;
        EXPECT_EQ(Text(), text);
    }
    Put("{\"HKCU\":{\"w\":\"\\ud83d\\ude00\"}}");
    EXPECT_TRUE(XRegistry::DeleteVal(L"none", kUser, L"") && Set(1, L"v", L""));
    EXPECT_HAS("\xF0\x9F\x98\x80", Text());
    for (const char* text : {"", " ", "[1]"}) {  // settings with nothing in them
        Put(text);
        EXPECT_TRUE(XRegistry::DeleteVal(L"v", kUser, L"") && Text() == text && Set(1, L"v", L""));
        EXPECT_EQ(Text(), "{\n    \"HKCU\":{\n        \"v\":1\n    }\n}");
    }
}

TEST_F(Registry, FailsWhereThereIsNoFileToWrite) {
    const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", folder.Path().c_str(), 1);
    for (const std::string& location : {std::string("~"), std::string(), file.native() + "/none"}) {
        Locate(location);
        EXPECT_TRUE(!Set(1, L"v") && Get(L"v") == -1) << location;
    }
    Locate("~/settings");
    EXPECT_TRUE(Set(1, L"v") && std::filesystem::exists(file));
    XRegistry::SetRegFileLocation(L"elsewhere", false);
    EXPECT_EQ(XRegistry::RegFileLocation(), FromUTF8(file.native()));
    ::unsetenv("XCLASS_XREGISTRY_LOCATION");
    EXPECT_FALSE(XRegistry::IsRegFileLocationSet());
    EXPECT_EQ(XRegistry::RegFileLocation(), FromUTF8(folder.Path().native()) + L"/.XRegistry");
    ::unsetenv("HOME");
    EXPECT_FALSE(Set(1, L"v"));
    ::setenv("HOME", home.c_str(), 1);
}

TEST_F(Registry, AWriteThatIsCutShortLeavesTheOldSettingsAndNothingInTheWay) {
    ASSERT_TRUE(XRegistry::SetString(XStr(3000, L'x'), L"old", kUser, L""));
    const std::string text = Text();
    std::ifstream before(file);
    const auto write = [](auto whenTooLarge) {
        const rlimit limit{4096, 4096};
        std::signal(SIGXFSZ, whenTooLarge);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return XRegistry::SetString(XStr(8000, L'y'), L"old", kUser, L"");
    };
    EXPECT_TRUE(Process([&] { return !write(SIG_IGN); }).Succeeds());
    EXPECT_EQ(FilesInFolder(), 1);
    EXPECT_FALSE(Process([&] { return write(SIG_DFL); }).Succeeds());  // killed
    EXPECT_EQ(FilesInFolder(), 2);
    EXPECT_EQ(Text(), text);
    ASSERT_TRUE(XRegistry::SetString(L"", L"old", kUser, L""));
    EXPECT_EQ(Text(), "{\n    \"HKCU\":{\n        \"old\":\"\"\n    }\n}");
    EXPECT_EQ(FilesInFolder(), 1);
    EXPECT_EQ((std::string{std::istreambuf_iterator<char>(before), {}}), text);  // not written over
}

TEST_F(Registry, AWriteFollowsLinksAndKeepsTheMode) {
    const auto target = folder.Write("target", {});
    std::filesystem::permissions(target, std::filesystem::perms(0640));
    std::filesystem::create_symlink("target", file);
    EXPECT_TRUE(Set(1, L"v"));
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(Get(L"v"), 1);
}

TEST_F(Registry, WaitsForALockButNotForEver) {
    ASSERT_TRUE(Set(1, L"v"));
    const auto lock = [&] {
        const int holder = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::flock(holder, LOCK_EX), 0);
        return holder;
    };
    int holder = lock();
    std::thread writer([] { EXPECT_TRUE(Set(3, L"w", L"")); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::filesystem::rename(folder.Write("other", {'{', '}'}), file);
    ::close(holder);
    writer.join();
    EXPECT_EQ(Text(), "{\n    \"HKCU\":{\n        \"w\":3\n    }\n}");

    holder = lock();
    std::thread late([] { EXPECT_FALSE(Set(4, L"w", L"")); });
    EXPECT_FALSE(XRegistry::IsFileReadable());
    late.join();
    ::close(holder);
    EXPECT_EQ(Get(L"w", L""), 3);
}

TEST_F(Registry, AValueAndASubkeyShareANameAndGoOnTheirOwn) {
    Put("{\"HKCU\":{\"n\":{\"v\":1},\"N\":2,\"n\":3}}");
    ASSERT_TRUE(Set(4, L"n", L""));
    EXPECT_EQ(Get(L"n", L""), 4);
    EXPECT_EQ(Get(L"v", L"N"), 1);
    ASSERT_TRUE(XRegistry::DeleteVal(L"n", kUser, L"") && XRegistry::DeleteVal(L"n", kUser, L""));
    EXPECT_EQ(Get(L"n", L""), -1);
    ASSERT_TRUE(Set(5, L"n", L"") && XRegistry::DeleteKeyAndSubKeys(kUser, L"n"));
    EXPECT_EQ(KeysOf(L""), L"");
    EXPECT_EQ(Get(L"n", L""), 5);
}

TEST_F(Registry, FallsBackToTheDefaults) {
    ASSERT_TRUE(XRegistry::SetInt32(1, L"v", nullptr, nullptr));
    EXPECT_EQ(Text(), "{\n    \"UNSPEC\":{\n        \"v\":1\n    }\n}");
    XRegistry::SetDefault(kUser, kPath);
    EXPECT_TRUE(XRegistry::SetInt32(2, L"v", nullptr, nullptr));
    EXPECT_EQ(Get(L"v"), 2);
    EXPECT_FALSE(XRegistry::DoesValueExist(L"v", nullptr, L""));
    XRegistry::SetDefault(nullptr, nullptr);
    EXPECT_EQ(XRegistry::GetInt32(L"v", nullptr, nullptr), 1);
}

TEST_F(Registry, ATransactionShowsItsChangesAndWritesThemTogether) {
    ASSERT_TRUE(Set(1, L"a", L"from\\sub") && Set(2, L"A", L"to\\SUB") && Set(3, L"kept", L"to"));
    const std::string before = Text();
    XRegistryTransaction changes;
    changes.SetString(L"text", L"b", kUser, L"from");
    changes.CopyKey(kUser, L"from", kUser, L"to");
    changes.CopyKey(kUser, L"to", kUser, L"to\\copy");
    changes.CopyKey(kUser, L"nothing", kUser, L"none");
    changes.DeleteKeyAndSubKeys(kUser, L"from");
    changes.DeleteKeyAndSubKeys(kUser, L"later");
    EXPECT_EQ(changes.GetInt32(L"a", kUser, L"to\\sub"), 1);
    EXPECT_EQ(changes.GetString(L"b", kUser, L"to\\copy"), L"text");
    changes.SetBinaryData("\0ab", 3, L"binary", kUser, L"from");
    char data[3] = {};
    EXPECT_EQ(changes.GetBinaryData(data, 3, L"binary", kUser, L"from"), 3u);
    EXPECT_EQ(std::string(data, 3), std::string("\0ab", 3));
    changes.DeleteKeyAndSubKeys(kUser, L"from");
    bool missing = false;
    EXPECT_TRUE(changes.GetBinaryDataToXMem(L"binary", kUser, L"from", &missing).IsEmpty() && missing);
    XStrList list;
    EXPECT_FALSE(changes.GetStringList(list, L"list", kUser, L"from"));
    EXPECT_EQ(changes.GetString(L"b", kUser, L"from", &missing), L"");
    EXPECT_TRUE(missing);
    XRegistryTransaction().DeleteVal(L"kept", kUser, L"to");  // dropped
    EXPECT_EQ(Text(), before);
    EXPECT_TRUE(changes.Commit() && Set(4, L"a", L"later") && changes.Commit());

    EXPECT_EQ(KeysOf(L""), L"to;later;");
    EXPECT_EQ(KeysOf(L"to"), L"SUB;copy;");
    XStrList names;
    EXPECT_TRUE(XRegistry::EnumValueNames(names, kUser, L"to\\copy"));
    EXPECT_EQ(Joined(names), L"kept;b;");
    EXPECT_EQ(Get(L"a", L"to\\copy\\sub"), 1);
}

TEST_F(Registry, ACopyOfAKeyShowsWhatTheKeyShows) {
    Put(R"({"HKCU":{"from":{"v":1,"V":2,"k":{"v":3},"K":{"v":4,"hidden":5}}}})");
    XRegistryTransaction copy;
    copy.CopyKey(kUser, L"from", kUser, L"to");
    ASSERT_TRUE(copy.Commit());
    EXPECT_TRUE(Get(L"v", L"to") == 1 && Get(L"v", L"to\\k") == 3 && Get(L"hidden", L"to\\k") == -1)
        << Text();
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
    EXPECT_FALSE(Set(1, L"v", path(most + 1)) || Set(1, L"v", path(1000000)));
    XRegistryTransaction deeper;
    deeper.SetDWORD(1, L"first", kUser, L"");
    for (int i = 0; i < 1000; ++i) deeper.CopyKey(kUser, L"k", kUser, path(200).c_str());
    EXPECT_EQ(deeper.GetDWORD(L"first", kUser, L""), 1u);
    EXPECT_FALSE(deeper.Commit());
    EXPECT_EQ(Text(), before);
}

TEST(Base64, GoesToTextAndBackAndTakesNothingElse) {
    const std::pair<std::string, XStr> cases[] = {
        {"", L""}, {"f", L"Zg=="}, {"fo", L"Zm8="}, {"foobar", L"Zm9vYmFy"}, {"\xFB\xFF\xBF", L"+/+/"}};
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(ToBase64(bytes.data(), bytes.size()), text);
        const std::optional<XMem> back = FromBase64(text);
        ASSERT_TRUE(back);
        EXPECT_EQ(Bytes(back->Data(), back->Data() + back->Size()), Bytes(bytes.begin(), bytes.end()));
    }
    for (const XStr text : {L"Zg=", L"Zg", L"====", L"Z===", L"Zh==", L"Zm9=", L"Zg==Zg==", L"Z g=", L"-_-_"})
        EXPECT_FALSE(FromBase64(text)) << ToUTF8(text);
}

}  // namespace w64
