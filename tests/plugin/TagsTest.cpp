#include "TaggedFile.h"

#include <sys/resource.h>

namespace w64 {

namespace {

class TagsOfFile : public TaggedFile {
protected:
    // "+Title=Hello Artist=X" writes, "-artist title" deletes, "-" deletes all.
    int32_t Call(const std::string& call) {
        std::istringstream parts(call.substr(1));
        Tags tags;
        for (std::string part; parts >> part;) {
            const size_t sign = part.find('=');
            tags.push_back({FromUTF8(part.substr(0, sign)), FromUTF8(part.substr(sign + 1))});
        }
        return call[0] == '+' ? Write(Pack(tags)) : Delete(tags);
    }

    // The data of the last chunk is zeros that take no room on the disk.
    void ResetSparse(const Wave64Bytes& chunks, int64_t lastDataBytes) {
        const auto bytes = static_cast<int64_t>(chunks.File().size()) + lastDataBytes;
        Bytes file = chunks.File(static_cast<uint64_t>(bytes));
        base::Store<uint64_t>(file.data() + file.size() - 8, static_cast<uint64_t>(lastDataBytes) + 24);
        Reset(file);
        std::filesystem::resize_file(path, static_cast<uintmax_t>(bytes));
    }

    void ExpectRefusals(const std::string& error,
                        std::initializer_list<const char*> calls = {"+Title=New", "-title", "-"}) {
        const Bytes before = Contents();
        for (const char* call : calls) {
            EXPECT_EQ(Call(call), 0);
            EXPECT_TRUE(Contents() == before) << call;
            EXPECT_HAS(error, host->capture.Errors());
        }
    }

    const std::string cannotOpen =
        "Error opening file '" + path.string() + "' check no other program has it open.  [IDTagWriter]\r\n";
};

}  // namespace

TEST_F(TagsOfFile, AreEditedWhereTheyStand) {
    const struct {
        const char *before, *options, *call, *after;
        int32_t result = 1;
    } cases[] = {
        {"fmt data:99 junk:80", "TagDefault=1", "+Title=Hello", "fmt data:99 junk:80 half:INAM=Hello"},
        {"fmt data:9", "TagDefault=2", "+Title=Hello", "fmt data:9"},
        {"fmt data:9 half:INAM=Old", "TagDefault=2", "+Title=New", "fmt data:9 half:INAM=New"},

        {"fmt junk:99 data:9", "LISTPos=1", "+Title=Hello", "fmt half:INAM=Hello junk:51k data:9"},
        {"junk:90 data:9", "LISTPos=1", "+Title=Hello", "half:INAM=Hello junk:42k data:9"},
        {"pad:80 fmt levl:4 data:9", "LISTPos=2 LISTPadding=2", "+Title=A",
         "pad:80 fmt levl:4 half:INAM=A data:9"},
        {"fmt data:9", "SafeEdit=1 LISTPos=1 LISTPadding=1 LISTPaddingSize=1", "+Title=A",
         "fmt half:INAM=A pad:1000z data:9"},

        // What is not named stays, but for the half that every rewriting takes.
        {"fmt data:9 half:INAM=Old,IART=Abba", "", "+TITLE=New Genre=Pop",
         "fmt data:9 half:INAM=New,IGNR=Pop,IART=Ab"},
        {"fmt data:9 half:INAM=Rock,IART=Abba", "", "-ARTIST Genre", "fmt data:9 half:INAM=Ro"},
        {"fmt data:9 half:INAM=Rock,IART=Abba", "", "+Title=", "fmt data:9 half:IART=Ab"},
        {"fmt data:9 half:IART=Abba", "SafeEdit=0", "-artist", "fmt data:9 half:"},
        {"fmt half: data:9 half:IXYZ=? half:IART=Abba", "SafeEdit=1", "-artist", "fmt junk:0 data:9"},
        {"fmt half: data:9", "", "+Title=Hello", "fmt half: data:9 half:INAM=Hello"},
        {"fmt data:9 half:", "SafeEdit=0", "+Title=Hello", "fmt data:9 half:INAM=Hello"},
        {"fmt data:9", "", "+Product=x _riff_1=y Title=", "fmt data:9"},
        {"half:INAM=A fmt half:INAM=B", "SafeEdit=0", "+Title=D", "half:INAM=A fmt half:INAM=D"},
        {"half:INAM=A fmt half:INAM=B", "SafeEdit=1", "+Title=D", "junk:16k fmt half:INAM=D"},
        {"half:IART=A fmt half:", "SafeEdit=1", "-artist", "junk:16k fmt"},

        {"fmt", "LISTPos=1 LISTAlbum=1 LISTTrack=1", "+Album=A ISRC=B Track=1",
         "fmt half:ISRC=A,ISRC=B,TRCK=1"},
        {"fmt half:IPRD=A,ISRC=B,TRCK=1", "LISTAlbum=1", "+Title=x", "fmt half:INAM=x,ISRC=B,itrk=1"},

        {"fmt fact:4 data:9 half:INAM=Rock", "", "-", "fmt fact:4 data:9"},
        {"fmt half:INAM=Rock data:9", "", "-", "fmt junk:22k data:9"},
        {"fmt half:INAM=Rock data:9", "SafeEdit=1 LISTPadding=2", "-", "fmt data:9"},
        {"half:INAM=A fmt data:9", "SafeEdit=0", "-", "half:INAM=A fmt data:9"},
        {"half:INAM=A fmt data:9", "SafeEdit=1", "-", "junk:16k fmt data:9"},
        {"half:INAM=A fmt half:INAM=B", "SafeEdit=0", "-", "half:INAM=A fmt"},
        {"half:INAM=A fmt half:INAM=B", "SafeEdit=1", "-", "junk:16k fmt"},
        {"fmt data:9", "SafeEdit=0", "-", "fmt data:9", 0},
        {"fmt data:9", "SafeEdit=1", "-", "fmt data:9"},

        {"fmt data:9", "LISTText=2", "+Title=Hello", "fmt data:9 utf16:INAM=Hello"},
        {"fmt utf16:INAM=Hello", "LISTText=1", "+Artist=Abba", "fmt utf16:IART=Abba,INAM=Hello"},
        {"fmt half:INAM=Hello", "LISTText=2", "+Artist=Abba", "fmt wide:IART=Abba,INAM=Hel"},
    };
    for (const auto& c : cases) {
        for (const std::string rules : {"SafeEdit=0", "SafeEdit=1"}) {
            const std::string options = c.options;
            if (options.starts_with("SafeEdit") && !options.starts_with(rules)) continue;
            const Bytes before = FileOf(c.before);
            Reset(before);
            SetOptions(options + " " + rules);
            SCOPED_TRACE(c.before + options + rules + c.call);
            EXPECT_EQ(Call(c.call), c.result);
            EXPECT_TRUE(Contents() == FileOf(c.after, before));
            EXPECT_EQ(host->capture.Errors(), "");
        }
    }
}

TEST_F(TagsOfFile, GetFreshPaddingOfTheSizeThatIsSet) {
    for (int setting = 0; const int bytes : {2024, 1000, 4072, 8168, 16360, 2024}) {
        Reset(FileOf("fmt half:INAM=A data:9"));
        SetOptions("LISTPaddingSize=" + std::to_string(setting++));
        EXPECT_EQ(Call("+Title=Hello"), 1);
        EXPECT_TRUE(Contents() == FileOf("fmt half:INAM=Hello junk:" + std::to_string(bytes) + "z data:9"));
    }
}

TEST_F(TagsOfFile, AreReadAheadOfTheOtherChunks) {
    const Bytes early = ListData("half", "INAM=Hello");
    const Bytes late = ListData("half", "INAM=Late,ISRC=Abc,IXYZ=Old,itrk=7");
    Wave64Bytes file = Wave64Bytes().Chunk("ds64", Pattern(8)).SummaryList(early).Fmt(1, 2, 44100, 16);
    file.Chunk("fact", Pattern(4)).Data(Pattern(9)).Chunk("bext", {9, 8, 7}).SummaryList(late);
    Reset(file.Chunk({"A\0\x7F\x42", 4}, {}).Chunk("pad ", Pattern(8)).File());
    SetOptions("LISTAlbum=1");
    const Tags tags = {{L"Title", L"Hel"}, {L"Album", L"Ab"}, {L"Track", L"7"}};
    EXPECT_TRUE(Read() == Pack(tags, {Bytes{0xBC, 0x94, 0x5F, 0x92} + early,
                                      {'f', 'm', 't', ' '},
                                      {'d', 'a', 't', 'a'},
                                      {'b', 'e', 'x', 't', 9, 8, 7},
                                      {'A', 0, 0x7F, 'B'}}));
    EXPECT_EQ(host->capture.Information(), "Unknown LIST sub chunk 'IXYZ' Dropping it.  [InitFrom]\r\n");
    const std::string trace = host->capture.Trace();
    EXPECT_HAS("8 ID Tags:\r\n\t\t\tTitle: Hel\r\n", trace);
    EXPECT_HAS("_riff_1: DATA Length: 28   .._.....INAM....H...\r\n", trace);
}

TEST_F(TagsOfFile, ComeOnlyFromWhatIsThere) {
    SetOptions("");
    Reset(FileOf("data:9 half:INAM=Hello"));
    EXPECT_TRUE(Read().empty());  // a success all the same
    EXPECT_EQ(host->capture.Errors(), "Error cannot find 'fmt ' chunk.  [PullOutFMTnDATA]\r\n");

    // A raw chunk and a list that claim more than there is: nothing of them, and no memory for them.
    rlimit before{};
    ::getrlimit(RLIMIT_AS, &before);
#if !defined(__SANITIZE_ADDRESS__)
    const rlimit lower{size_t{1} << 30, before.rlim_max};
    ::setrlimit(RLIMIT_AS, &lower);
#endif
    const Bytes codes = Pack({}, {{'f', 'm', 't', ' '}, {'d', 'a', 't', 'a'}});
    const std::string tooShort = "Error cannot reading chunk from file.  [ReadFileIntoMemory]\r\n";
    for (const uint64_t claim : {uint64_t{100}, uint64_t{0xFFFFFF00}, (uint64_t{1} << 62) + 32}) {
        for (const bool isList : {false, true}) {
            Wave64Bytes file = Wave64Bytes().Fmt(1, 2, 44100, 16).Data(Pattern(8));
            isList ? file.SummaryList(Pattern(64), claim) : file.Chunk("bext", Pattern(64), claim);
            Reset(file.File(120 + claim));
            EXPECT_TRUE(Read() == codes) << claim;
            EXPECT_TRUE(host->capture.Errors().ends_with(tooShort)) << claim;
        }
    }
    ::setrlimit(RLIMIT_AS, &before);

    // Chunks that are there, but do not fit together.
    ResetSparse(Wave64Bytes().Fmt(1, 2, 44100, 16).Data({}).Chunk("bext", Pattern(64)).Chunk("levl", {}),
                (int64_t{1} << 31) - 200);
    EXPECT_EQ(base::Load<uint32_t>(Read().data()), 3u);
    EXPECT_EQ(host->capture.Information(),
              "Chunks that do not fit into 2 GiB of tags are left out of them.  [ReadIDTags]\r\n");
}

TEST_F(TagsOfFile, NeedAFileAndABlock) {
    SetOptions("");
    Bytes block = Pack({{L"Title", L"Hello"}}), none = Pack({});
    const auto write = [&](const wchar_t* file, void* data, size_t bytes) {
        STKvCodecGetSet record{0, static_cast<int32_t>(bytes), 0, 0, file, nullptr, nullptr, data};
        return Plugin().Set(host.emplace().handle, L"IDTags", &record);
    };
    EXPECT_EQ(write(nullptr, block.data(), block.size()), 0);
    EXPECT_EQ(write(name.c_str(), nullptr, block.size()), 0);
    EXPECT_EQ(write(name.c_str(), block.data(), 0), 0);
    EXPECT_EQ(write(name.c_str(), none.data(), 4), 1);  // no tags, and nobody looks for the file
    EXPECT_EQ(host->capture.Errors(), "");
    ExpectRefusals(cannotOpen);
    EXPECT_EQ(Plugin().DeleteATag(host.emplace().handle, nullptr, nullptr), 0);
    EXPECT_EQ(host->capture.Errors(),
              "Error opening file '' check no other program has it open.  [IDTagWriter]\r\n");
    EXPECT_FALSE(std::filesystem::exists(path));

    Reset({});  // an empty file is as good as one without chunks
    EXPECT_EQ(Call("+Title=Hello"), 1);
    EXPECT_TRUE(Contents() == FileOf("half:INAM=Hello"));
    Reset(FileOf("fmt half:INAM=Hello"));
    EXPECT_EQ(Plugin().DeleteATag(host->handle, name.c_str(), nullptr), 1);
    EXPECT_TRUE(Contents() == FileOf("fmt"));
    const std::string opened = "Opening file '" + path.string() + "' for write access: Opened\r\n";
    EXPECT_HAS(opened, host->capture.Trace());
}

TEST_F(TagsOfFile, StayWhereTheSettingsCannotBeRead) {
    Reset(FileOf("fmt data:9 half:INAM=Hello"));
    SetOptions("SafeEdit=1");
    std::string text = ReadText(settings);
    const std::string reason =
        "Error the file is left as it is, the settings in '" + settings.string() +
        "' cannot be read; if no other program is using them, repair or delete them.  [IDTagWriter]\r\n";
    const auto expectRefusals = [&] {
        ExpectRefusals(reason);
        EXPECT_EQ(host->capture.Errors(), reason);  // and nothing else
        EXPECT_FALSE(Read().empty());
        EXPECT_EQ(host->capture.Errors(), "");
    };
    std::filesystem::resize_file(settings, text.size() - 3);
    expectRefusals();
    text.insert(text.find_last_of('1') + 1, ",");
    folder.Write("settings", {text.begin(), text.end()});
    expectRefusals();
    folder.Write("settings", {'[', '1', ']'});  // no settings
    expectRefusals();
    std::filesystem::remove(settings);
    std::filesystem::create_directory(settings);  // cannot be opened
    expectRefusals();
}

TEST_F(TagsOfFile, StayInFilesThatAreNotSound) {
    const Bytes good = FileOf("fmt data:8 bext:16 half:INAM=A");
    const Bytes cutOff(good.begin(), good.end() - 8);
    Bytes overlong = good, corrupt = good;
    base::Store<uint64_t>(overlong.data() + overlong.size() - 24, 41);
    base::Store<uint32_t>(corrupt.data() + corrupt.size() - 8, 99);  // the size of its only text
    SetOptions("SafeEdit=1");
    for (const Bytes& file : {Bytes(), cutOff, overlong}) {
        Reset(file);
        ExpectRefusals("Error the file is left as it is, its layout is not sound: ");
    }
    const std::string unreadable = "its tags cannot be read in full and would be lost";
    Reset(corrupt);
    ExpectRefusals(unreadable, {"+Title=New", "-title"});
    // A list past 4 GiB that is empty by the lower 32 bits of its size.
    ResetSparse(Wave64Bytes().Fmt(1, 2, 44100, 16).SummaryList({}), (int64_t{1} << 32) + 8);
    EXPECT_EQ(Call("+Title=New") | Call("-title"), 0);  // 4 GiB are not compared
    EXPECT_HAS(unreadable, host->capture.Errors());
    // What the scan never came to would be cut off by any rules.
    for (const char* options : {"SafeEdit=1", ""}) {
        SetOptions(options);
        Reset(Wave64Bytes().Fmt(1, 2, 44100, 16).Chunk("levl", {}, 23).Data(Pattern(100)).File());
        ExpectRefusals("the chunk at 88 has a size of 23, less than its header.  [IDTagWriter]\r\n");
    }
    const std::pair<Bytes, std::string> noWave64[] = {
        {Bytes(39), "Error: File too small for RIFF.  [ScanFile]\r\n"},
        {Bytes(4000, 'R'), "Error RIFF chunk unknown 'RRRR'  [ScanFile]\r\n"},
    };
    for (const auto& [file, error] : noWave64) {
        Reset(file);
        SetOptions("SafeEdit=1");
        ExpectRefusals(error);
        SetOptions("");
        EXPECT_EQ(Call("+Title=New") & Call("-title") & Call("-"), 1);
        EXPECT_TRUE(Contents() == file);
    }
}

}  // namespace w64
