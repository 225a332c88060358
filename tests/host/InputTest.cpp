#include "HostWorkshop.h"

namespace w64 {

using Input = HostTest;

TEST_F(Input, OfAStreamIsTakenAsThatOfAFile) {
    shop.Do("w64 sample a.w64 --seconds 1 && w64 decode a.w64 && w64 decode a.w64 -o a.flac && mkdir tmp");
    const auto withoutName = [](std::string text, const std::string& name) {
        const size_t at = text.find(name);
        return at == text.npos ? "there is no " + name : text.erase(at, name.size());
    };
    for (const std::string command : {"info ", "info --json ", "stats ", "stats --json ", "md5 "}) {
        const std::string expected = withoutName(shop.Do("w64 " + command + "a.w64").output, "a.w64");
        for (const char* input : {"cat a.w64 | TMPDIR=tmp w64 ", "TMPDIR=nowhere <a.w64 w64 "}) {
            const Outcome outcome = shop.Do(input + command + "-");
            EXPECT_EQ(withoutName(outcome.output, "standard input"), expected);
            EXPECT_EQ(outcome.errors, "");
        }
    }
    shop.Do("cat a.w64 | TMPDIR=tmp w64 decode - -o b.wav && cmp a.wav b.wav");
    shop.Do("cat a.w64 | TMPDIR=tmp w64 decode - -o - | cmp - a.wav");
    for (const char* name : {"a.w64", "a.wav", "a.flac"}) {
        shop.Do("cat " + std::string(name) +
                " | TMPDIR=tmp w64 encode -f - b.w64 && w64 compare a.w64 b.w64");
    }
    shop.ExpectRefused({
        {"decode - < a.w64", 2, "standard input has no name to call the output after; -o OUT names it"},
        {"encode - -o . < a.wav", 2, "-o OUT names it"},
        {"info - a.w64 - < a.w64", 2, "standard input can be read only once"},
        {"info - a.w64 < /dev/null", 1, "w64: standard input: the file is empty"},
        {"info - < .", 1, "w64: standard input: cannot be read: Is a directory"},
    });
    shop.Do("rmdir tmp");  // and nothing is in it
}

TEST_F(Input, OfAStreamNeedsRoom) {
    shop.Do("w64 sample a.w64 --seconds 1 && w64 decode a.w64 && mkdir tmp");
    const Outcome outcome = shop.Run("ulimit -f 100; cat a.wav | TMPDIR=tmp w64 md5 - a.wav");
    EXPECT_HAS("w64: standard input: cannot be kept in 'tmp', the folder of TMPDIR: File too large",
               outcome.errors);
    EXPECT_TRUE(outcome.status == 1 && outcome.output.ends_with("  a.wav\n"));
    shop.Do("rmdir tmp");
}

// As on a disk from a system of another character set.
TEST_F(Input, CanHaveNamesThatAreNotUTF8) {
    shop.Do(
        "w64 sample a.w64 --seconds 1 && mkdir 'K\xF6ln' && cp a.w64 'K\xF6ln/\xC3.w64' && w64 decode a.w64");
    shop.Do("cd K* && w64 tags set *.w64 Title=x && w64 tags set --in-place *.w64 Album=y");
    EXPECT_EQ(shop.Do("w64 tags export K*/*").output, "Album=y\nTitle=x\n");
    const std::string shown = shop.Do("w64 info --json K*/*").output;
    EXPECT_EQ(JsonAt(shown, "/0/file"), "K\xEF\xBF\xBDln/\xEF\xBF\xBD.w64");
    EXPECT_EQ(JsonAt(shown, "/0/file_bytes"), "K%F6ln/%C3.w64");
    shop.Do("w64 check K*/* && w64 chunks K*/* && w64 stats K*/* && w64 compare K*/* a.w64");
    shop.Do("cd K* && w64 decode -r . && w64 compare *.wav ../a.wav && w64 encode -f *.wav && w64 md5 *");
    shop.Do("cd K* && w64 copy '\xC3.w64' '\xC4.w64' && w64 split *\xC4.w64 --every 0.5s && rm *00?.w64");
    shop.Do("cd K* && w64 plot '\xC3.w64' && w64 report *.w64 -o '\xC3.html' && w64 sample '\xC5.w64'");
    shop.Do("cd K* && truncate -s -2000 '\xC4.w64' && w64 repair '\xC4.w64' && w64 check *.w64");
    EXPECT_EQ(shop.Do("cd K* && LC_ALL=C ls").output,
              "\xC3.html\n\xC3.png\n\xC3.w64\n\xC3.wav\n\xC4.w64\n\xC5.w64\n");
    shop.Do("export XCLASS_XREGISTRY_LOCATION='K\xF6ln/s'; w64 options Wave64LISTPos=1 && test -s K*/s");
}

}  // namespace w64
