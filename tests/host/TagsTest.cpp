#include "HostWorkshop.h"
#include "SoundFile.h"
#include "TagBytes.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace w64 {

namespace {

using Tags = HostTest;
using Options = HostTest;

namespace fs = std::filesystem;

const Bytes kAudio = Pattern(6000);
const Bytes kUntagged = Recording(kAudio).File();

Bytes Tagged(const Bytes& list) { return Recording(kAudio).SummaryList(list).File(); }

// Mode, owner, and what extended attributes there are.
std::string Attributes(const fs::path& file) {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    std::string text;
    for (const auto number : {status.st_mode, status.st_uid, status.st_gid})
        text += std::to_string(number) + " ";
#ifdef __linux__
    char bytes[1024];
    text.append(bytes, static_cast<size_t>(std::max<ssize_t>(::listxattr(file.c_str(), bytes, 1024), 0)));
    text.append(bytes,
                static_cast<size_t>(std::max<ssize_t>(::getxattr(file.c_str(), "user.note", bytes, 9), 0)));
#endif
    return text;
}

}  // namespace

TEST_F(Tags, AreSetChangedAndRemoved) {
    const std::pair<std::string, std::string> steps[] = {
        {"set a.w64 Title='The Song' artist=Ünïcode", "Title=The Song, Artist=Ünïcode"},
        {"set a.w64 'TITLE=a = b' Track=7", "Title=a = b, Track=7, Artist=Ünïcode"},
        {"set a.w64 'Comment=two\nlines' Track=", "Comment=two\nlines, Title=a = b, Artist=Ünïcode"},
        {"remove a.w64 title COMMENT Title", "Artist=Ünïcode"},
        {"set a.w64 Artist=", ""},
        {"set a.w64 Album=A ISRC=B", "Album=A, ISRC=B"},
        {"remove a.w64 --all", ""},
        {"remove a.w64 --all", ""},
    };
    for (const std::string how : {"", " --in-place"}) {
        shop.Configure("LISTPos=0");
        shop.Write("a.w64", kUntagged);
        for (const auto& [command, shown] : steps) {
            SCOPED_TRACE(command);
            EXPECT_EQ(shop.Run("w64 tags " + command + how + " 2>&1").output, "");
            EXPECT_EQ(shop.Tags("a.w64"), shown);
            Bytes rest = Slice(shop.Read("a.w64"), 0, kUntagged.size());
            base::Store<uint64_t>(rest.data() + 16, kUntagged.size());
            EXPECT_EQ(rest, kUntagged);
            EXPECT_EQ(shop.Contents() == (Folder{{"a.w64", kUntagged}}), shown.empty());
        }
        Wave64Bytes two = Recording(kAudio).SummaryList(List({{"INAM", Text(u"Song")}}));
        shop.Write("a.w64", two.SummaryList(List({{"IART", Text(u"Abba")}})).File());
        EXPECT_EQ(shop.Run("w64 tags remove a.w64 Title" + how).errors, "");
        EXPECT_EQ(shop.Tags("a.w64"), "Artist=Abba");
    }
}

TEST_F(Tags, KeepTheFormOfTheListTheyAreIn) {
    const Bytes units = List({{"IART", Text(u"Song")}, {"INAM", Text(u"S\U0001F3B5\xDFB5")}});
    const Bytes codes = List({{"IART", Text(U"Song")}, {"INAM", Text(U"S\u266A")}});
    const std::tuple<const char*, Bytes, const char*, Bytes> cases[] = {
        {"", kUntagged, "", List({{"IART", Text(u"Song")}})},
        {"LISTText=1", kUntagged, "", List({{"IART", Text(U"Song")}})},
        {"LISTText=1", Tagged(List({{"INAM", Text(u"S\U0001F3B5\xDFB5")}})), "Title=S🎵�", units},
        {"LISTText=2", Tagged(List({{"INAM", Text(U"S\u266A")}})), "Title=S♪", codes},
        {"", Tagged(List({{"IART", {'O', 0, 0, 0, 'l', 0}}})), "Artist=Ol", List({{"IART", Text(U"Song")}})},
    };
    for (const auto& [settings, before, shown, after] : cases) {
        fs::remove(shop.Settings());
        shop.Configure("LISTPos=0 " + std::string(settings));
        shop.Write("a.w64", before);
        EXPECT_EQ(shop.Tags("a.w64"), shown);
        EXPECT_EQ(shop.Run("w64 tags set a.w64 Artist=Song").errors, "");
        EXPECT_EQ(shop.Read("a.w64"), Tagged(after));
    }
    fs::remove(shop.Settings());  // and with them the place of lists
    shop.Write("a.w64", Tagged(List({{"INAM", Text(U"S\U0001F3B5")}})));
    EXPECT_EQ(shop.Run("w64 tags set a.w64 --text 16").errors, "");
    EXPECT_EQ(shop.Read("a.w64"), Tagged(List({{"INAM", Text(u"S\U0001F3B5")}})));
}

TEST_F(Tags, GoWhereTheOptionsSay) {
    const std::pair<std::string, std::string> places[] = {
        {"LISTPos=0 LISTPadding=1 LISTPaddingSize=4 LISTTrack=1", "tags after the audio, "},
        {"LISTPos=1 LISTPadding=2 LISTPaddingSize=0 LISTTrack=0", "tags before the audio, "},
    };
    for (const auto& [options, place] : places) {
        shop.Configure("SafeEdit=0 " + options);
        const auto written = std::pair(ReadText(shop.Settings()), fs::last_write_time(shop.Settings()));
        shop.Write("a.w64", Recording(kAudio).Chunk("junk", Pattern(80)).File());
        for (const std::string edit :
             {"set a.w64 Track=7 Comment=\"$(seq 2000)\"", "set a.w64 Comment=2 Year=", "remove a.w64 --all",
              "set a.w64 Track=8"}) {
            shop.Do("w64 -q tags " + edit + " && w64 check -q a.w64 && w64 decode -qf a.w64 -o a.raw");
            EXPECT_EQ(shop.Read("a.raw"), kAudio);
            EXPECT_HAS(std::string(701, 'b'), ReadText(shop.Path() / "a.w64"));
        }
        EXPECT_HAS(place, shop.Do("w64 check a.w64").output);
        EXPECT_EQ(shop.Tags("a.w64"), "Track=8");
        EXPECT_EQ(std::pair(ReadText(shop.Settings()), fs::last_write_time(shop.Settings())), written);
    }
}

TEST_F(Tags, AreLeftAsTheyAreWhereAnEditCannotBeRight) {
    const Bytes plain = Tagged(List({{"INAM", Text(u"Song")}}));
    const Bytes unknown = Tagged(List({{"INAM", Text(u"Song")}, {"IXYZ", Text(u"?")}}));
    const Bytes hidden = Tagged(List({{"IART", Text(u"Anna") + Text(u"Bert")}, {"INAM", Text(u"Song")}}));
    const Bytes twice = Tagged(List({{"itrk", Text(u"1")}, {"TRCK", Text(u"2")}}));
    Bytes corrupt = plain;
    base::Store<uint32_t>(corrupt.data() + corrupt.size() - 16, 99);  // the value's size
    const auto expectRefused = [&](const Bytes& file, std::initializer_list<HostWorkshop::Refusal> edits,
                                   const std::string& options = {}) {
        fs::remove(shop.Settings());
        shop.Configure(options);
        shop.Write("a.w64", file);
        shop.ExpectRefused(edits);
    };
    expectRefused(plain, {{"tags set a.w64", 2, "NAME=VALUE is required"}});
    const char* set = "tags set a.w64 Title=x";
    expectRefused(unknown, {{set, 1, "lost: the unknown 'IXYZ'; --force edits anyway"}});
    expectRefused(hidden, {{set, 1, "lost: text after the end of 'Artist'; --force"}});
    expectRefused(twice, {{set, 1, "lost: a second 'Track'"}});
    expectRefused(corrupt, {{"tags set a.w64 Title=x -f --in-place", 1, "LIST sub chunk is corrupted"}});
    expectRefused(Resized(plain, 3000), {{"tags remove a.w64 --all", 1, "a.w64: "}});
    expectRefused(Resized(kUntagged, 3000),
                  {{"tags set a.w64 Year=1 --in-place", 1, "not sound: the chunks end at 6840"}});
    expectRefused(Resized(plain, 9999), {{set, 1, "its layout is not sound: the chunks end at 6888"}});
    expectRefused(Recording(kAudio).File(6000), {{set, 1, "extends past the end of the file"}});
    expectRefused(Pattern(1000), {{set, 1, "a.w64: "}});
    // The decoder does otherwise than was meant.
    expectRefused(plain, {{"tags set a.w64 Title=A\x01", 1, "as expected: 'Title' reads "}});
    expectRefused(kUntagged, {{set, 1, "'Title' is missing; because of Tag Creation, see"}}, "TagDefault=2");
    expectRefused(
        Tagged(List({{"IPRD", Text(u"A")}})),
        {{"tags set a.w64 Album=A ISRC=B -f", 1, "'ISRC' is missing; because of LIST Album Tag, see"},
         {"tags set a.w64 Title=x", 1, "lost: 'Product'; because of LIST Album Tag, see"},
         {"tags remove a.w64 ISRC", 1, "has no tag 'ISRC'; because of LIST Album Tag, see"}},
        "LISTAlbum=1");
    expectRefused(kUntagged,
                  {{"tags set a.w64 Album=AA ISRC=BB", 1, "; because of LIST Text, LIST Album Tag, see"}},
                  "LISTAlbum=1 LISTText=0");
    expectRefused(plain,
                  {{"tags set a.w64 Artist=Abba", 1, "'Artist' reads 'Ab' instead of 'Abba', 'Title'"}},
                  "LISTText=0");

    fs::remove(shop.Settings());
    shop.Write("a.w64", unknown);
    shop.Write("b.w64", twice);
    EXPECT_EQ(shop.Run("for i in a b; do w64 tags set $i.w64 -f Title=Song; done").errors, "");
    EXPECT_EQ(shop.Read("a.w64"), plain);
    EXPECT_EQ(shop.Tags("b.w64"), "Title=Song, Track=1");

    // With the last tag all lists go, whatever state they are in.
    const auto withLists = [](const Bytes& first) {
        return Recording(kAudio).SummaryList(first).SummaryList(List({{"INAM", Text(u"Song")}})).File();
    };
    const Bytes cut = Resized(List({{"IART", Text(u"Abba")}}), 18);
    shop.Write("a.w64", withLists(cut));
    shop.ExpectRefused(
        {{"tags remove -f a.w64 title", 1, "; w64 tags remove --all removes damaged tags too\n"}});
    for (const std::string how : {"", " --in-place"}) {
        for (const auto& [list, edit] : {std::pair(Bytes(), "title"), std::pair(cut, "--all"),
                                         std::pair(List({{"IXYZ", Text(u"?")}}), "-f title")}) {
            shop.Write("a.w64", withLists(list));
            EXPECT_EQ(shop.Run("w64 tags remove a.w64 " + std::string(edit) + how).errors, "");
            EXPECT_EQ(shop.Read("a.w64"), kUntagged);
        }
    }
}

TEST_F(Tags, LeaveTheFileItsAttributesAndItsNames) {
    const fs::path file = shop.Write("a.w64", kUntagged);
    fs::create_symlink("a.w64", shop.Path() / "b.w64");
    EXPECT_TRUE(::chown(file.c_str(), 12, 34) == 0 || ::geteuid() != 0);
    ASSERT_EQ(::chmod(file.c_str(), 06640), 0);
#ifdef __linux__
    // Both where the file system can. Whoever may read new files of the folder still may not read this one.
    const uint8_t list[] = {2, 0,  0,   0,   1,   0,   7,  0, 255, 255, 255, 255, 2,   0,  7,
                            0, 99, 0,   0,   0,   4,   0,  5, 0,   255, 255, 255, 255, 16, 0,
                            7, 0,  255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
    ::setxattr(shop.Path().c_str(), "system.posix_acl_default", list, sizeof list, 0);
    ::setxattr(file.c_str(), "user.note", "of 1999", 7, 0);
#endif
    const std::string before = Attributes(file);
    EXPECT_EQ(shop.Run("w64 -q tags set b.w64 Title=x").errors, "");
    EXPECT_EQ(shop.Tags("a.w64"), "Title=x");
    EXPECT_EQ(Attributes(file), before);
    EXPECT_TRUE(fs::is_symlink(shop.Path() / "b.w64"));

    fs::create_hard_link(file, shop.Path() / "c.w64");
    EXPECT_EQ(shop.Run("w64 tags set b.w64 Title=y").errors, "");  // takes some of the padding
    EXPECT_EQ(Attributes(file), before);
    const std::string longer = "w64 tags set a.w64 Title=\"$(seq 1000)\"";
    EXPECT_HAS("hard links", shop.Run(longer).errors);
    EXPECT_EQ(shop.Tags("c.w64"), "Title=y");
    EXPECT_EQ(shop.Run(longer + " --in-place").errors, "");
    EXPECT_NE(shop.Tags("c.w64"), "Title=y");
    EXPECT_EQ(shop.Files(), (std::set<std::string>{"a.w64", "b.w64", "c.w64"}));
}

TEST_F(Tags, NeedTheRightToWrite) {
    const std::string nobody = ::geteuid() == 0 ? "setpriv --reuid=99 --regid=99 --clear-groups " : "";
    shop.Write("a.w64", kUntagged);
    if (shop.Run("chmod 755 . && " + nobody + "w64 info a.w64").status != 0)
        GTEST_SKIP() << "runs for root only";
    const std::pair<std::string, std::string> cases[] = {
        {"chmod 555 . && chmod 666 a.w64",
         "cannot create a file in '" + shop.Path().string() + "': Permission denied"},
        {"chmod 777 . && chmod 444 a.w64", "cannot open the file for writing"},
        {"chmod 666 a.w64", nobody.empty() ? "" : "cannot have the owner, mode and attributes of the file"},
    };
    // The settings lie in a folder that only the owner may enter.
    const std::string set =
        " && unset XCLASS_XREGISTRY_LOCATION && HOME=/nowhere " + nobody + "w64 tags set a.w64 Title=x";
    for (const auto& [modes, message] : cases) {
        const Outcome outcome = shop.Run(modes + set);
        EXPECT_HAS(message, outcome.errors);
        EXPECT_EQ(shop.Contents() == (Folder{{"a.w64", kUntagged}}), !message.empty());
    }
    shop.Write("a.w64", kUntagged);
    EXPECT_EQ(shop.Run("chmod 555 ." + set + " --in-place").status, 0);
    const Folder edited = shop.Contents();
    EXPECT_HAS("w64.w64-journal': Permission denied; --in-place edits without one",
               shop.Run("true" + set + "y").errors);
    EXPECT_TRUE(shop.Contents() == edited);
    const std::string hide = "chmod 755 . && touch .a.w64.w64-journal && chmod 0 .a.w64.w64-journal && ";
    EXPECT_HAS("was interrupted", shop.Run(hide + nobody + "w64 info a.w64").errors);
}

// Of every kind of file; libsndfile tells only of some.
TEST_F(Tags, OfOtherFilesAreCarriedAndOtherChunksNamed) {
    using namespace std::string_literals;
    const auto chunk = [](const std::string& code, const std::string& data, bool bigEndian = false) {
        std::string size = {static_cast<char>(data.size()), 0, 0, 0};
        if (bigEndian) std::ranges::reverse(size);
        return code + size + data + std::string(data.size() % 2, 0);
    };
    const std::string chunks =
        chunk("LIST", "INFO" + chunk("INAM", "S\xF6ng \x96\0more"s) + chunk("IENG", "\xC3\x84va") +
                          chunk("IART", "A") + chunk("IART", "B") + chunk("IXYZ", "x")) +
        chunk("LIST", "adtl") + chunk("umid", "x") + chunk("JUNK", "x") + chunk("LGWV", "x") +
        chunk("umid", "y");
    const std::string tags = "Title=Söng –, Engineer=Äva, Artist=A; B";
    const std::string left = "tags (IXYZ), texts of markers, unique material identifier, 'LGWV'";
    // The file, where more is put into it, the tags that it has then, and what is to be named.
    const std::tuple<int, std::string, size_t, std::string, std::string, std::string> cases[] = {
        {SF_FORMAT_WAV, "a.wav", 0, chunks, tags, left},
        {SF_FORMAT_WAV, "b.wav", 12, chunks, tags, left},
        {SF_FORMAT_RF64, "c.rf64", 0, chunks, tags, left},
        {SF_FORMAT_AIFF, "d.aiff", 0, chunk("NAME", "x", true) + chunk("AESD", "x", true), "Title=x",
         "'AESD'"},
        {SF_FORMAT_CAF, "e.caf", 52, "info\0\0\0\0\0\0\0\x13\0\0\0\2key\0Cis\0year\0\x31\0"s, "Year=1",
         "tags (key)"},
        {SF_FORMAT_FLAC, "f.flac", 42,
         "\4\0\0\x1D\1\0\0\0x\2\0\0\0\6\0\0\0ISRC=1\6\0\0\0DATE=\xFF\6\0\0 "s + std::string(32, 0), "ISRC=1",
         "picture"},
    };
    for (const auto& [format, name, at, more, expected, named] : cases) {
        SCOPED_TRACE(name);
        SoundFile(shop.Path() / name, format | SF_FORMAT_PCM_16, 2).WriteInts(std::vector<int>(2000));
        Bytes file = shop.Read(name);
        file.insert(at == 0 ? file.end() : file.begin() + static_cast<std::ptrdiff_t>(at), more.begin(),
                    more.end());
        shop.Write(name, file);
        EXPECT_EQ(shop.Do("w64 encode -f " + name + " out.w64").errors,
                  "w64: " + name + ": note: not carried over: " + named + "\n");
        EXPECT_EQ(shop.Tags("out.w64"), expected);
        EXPECT_EQ(shop.Do("w64 encode -f --no-tags " + name + " out.w64").errors, "");
        EXPECT_EQ(shop.Tags("out.w64"), "");
    }
}

// Byte for byte where the order is kept.
TEST_F(Tags, AndTheExtensionComeBackFromOtherFiles) {
    Bytes list;
    const auto names = clRIFFSUMMARYLISTChunk::Names();
    Append(list, static_cast<uint32_t>(names.size()));
    for (const wchar_t* name : names) {
        const std::string code = clRIFFSUMMARYLISTChunk::Identifier(name);
        const Bytes text = Text((u"Zwölf\n\x1B\U0001D11E " + std::u16string(name, name + 3)).c_str());
        list.insert(list.end(), code.begin(), code.end());
        Append(list, static_cast<uint32_t>(text.size()));
        list.insert(list.end(), text.begin(), text.end());
    }
    const Bytes extension = Pattern(607);
    const auto with = [&](const Bytes& bext) {
        Wave64Bytes file = Wave64Bytes().Chunk("fmt ", Slice(Wave64Bytes::FmtBody(1, 2, 48000, 24), 0, 16));
        if (!bext.empty()) file.Chunk("bext", bext);
        return file.SummaryList(list).Chunk("junk", Bytes(4072)).Data(Pattern(6000)).File();
    };
    shop.Write("a.w64", with(extension));
    const auto tagsOf = [&](const std::string& file) {
        return shop.Do("w64 tags " + file + " | tail -n +2 | LC_ALL=C sort").output;
    };
    const std::string left = "w64: a.w64: note: not carried over: broadcast extension\n";
    for (const std::string kind : {"wav", "caf", "flac", "aiff", "ogg", "opus", "mp3"}) {
        SCOPED_TRACE(kind);
        const bool isExact = kind == "wav" || kind == "caf";
        const Outcome outcome =
            shop.Do("w64 decode a.w64 -fo b." + kind + " && w64 encode b." + kind + " -fo b.w64");
        EXPECT_EQ(outcome.errors, kind == "wav" ? "" : left);
        EXPECT_EQ(tagsOf("b.w64"), tagsOf("a.w64"));
        if (isExact) {
            EXPECT_TRUE(shop.Read("b.w64") == with(kind == "wav" ? extension : Bytes()));
        }
        shop.Do("w64 decode a.w64 -o - --format " + kind + " | cat >c." + kind);
        if (kind != "ogg" && kind != "opus") {  // whose streams have numbers of their own
            EXPECT_TRUE(shop.Read("c." + kind) == shop.Read("b." + kind));
        }
    }
    // The time of the first frame moves along.
    shop.Do("w64 decode a.w64 --start 100f --rate 24000 -fo b.wav && w64 encode b.wav -fo b.w64");
    const Bytes moved = Slice(shop.Read("b.w64"), 40 + 40 + 24, 40 + 40 + 24 + 607);
    Bytes expected = extension;
    base::Store(&expected[338], (base::Load<uint64_t>(&extension[338]) + 100) / 2);
    EXPECT_EQ(moved, expected);
}

TEST_F(Options, AreKeptWhereTheyCannotBeChanged) {
    shop.Do("w64 options");
    EXPECT_FALSE(fs::exists(shop.Settings()));
    shop.Run("w64 options 'LIST Padding Size=4'");
    const std::string file = "'" + shop.Settings().string() + "'";
    const std::string settings = ReadText(shop.Settings());
    const Outcome full = shop.Run("(ulimit -f 0; w64 options 'LIST Text=1' 2>&1; echo exit $?) | cat");
    EXPECT_HAS("w64: cannot write the settings to " + file + ", which is unchanged: ", full.output);
    EXPECT_TRUE(full.output.ends_with("\nexit 1\n"));
    EXPECT_EQ(ReadText(shop.Settings()), settings);
    fs::resize_file(shop.Settings(), 100);  // malformed
    shop.Write("a.w64", kUntagged);
    for (const std::string command : {"options 'LIST Text=1'", "tags set a.w64 Title=x"})
        shop.ExpectRefused(
            {{command, 1,
              "settings in " + file +
                  " cannot be read; if no other program is using that file, repair or delete it\n"}});
    shop.Do("echo '[1]' >" + file);  // no settings
    shop.ExpectRefused({{"tags set a.w64 Title=x", 1,
                         "cannot be read; if no other program is using that file, repair or delete it\n"}});
}

}  // namespace w64
