#include "HostWorkshop.h"
#include "TagBytes.h"

#include <cstdlib>

namespace w64 {

namespace {

// A page about a short file, a long one, one with hostile texts, one that is cut off, and one that is not there.
class Report : public HostTest {
protected:
    Report() {
        shop.Do("w64 sample short.w64 --seconds 1 && w64 sample long.w64 --seconds 2 && "
                "w64 decode -q short.w64 -o 'x<i>.wav' && w64 tags set short.w64 'Title=<b>\"&'");
        shop.Write("cut.w64", Slice(shop.Read("long.w64"), 0, 100'000));
        outcome_ = shop.Run("w64 report -j 3 short.w64 long.w64 'x<i>.wav' cut.w64 none.w64 -o page.html");
    }

    Outcome outcome_;
};

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
}

}  // namespace

TEST_F(Report, SaysOfEveryFileWhatItIsAndWhatIsWrong) {
    EXPECT_EQ(outcome_.status, 1);
    EXPECT_HAS("none.w64: No such file or directory", outcome_.errors);
    const std::string page = ReadText(shop.Path() / "page.html");
    EXPECT_EQ(Count(page, "<tr><td class=\"name\""), 5U);
    EXPECT_EQ(Count(page, "data:image/png;base64,"), 4U);
    EXPECT_EQ(Count(page, "<i>") + Count(page, "<b>"), 0U) << "not escaped";
    EXPECT_EQ(Count(page, "http:") + Count(page, "https:") + Count(page, "<link"), 0U) << "from elsewhere";
    EXPECT_HAS("5 files, 0:00:04.", page);
    EXPECT_HAS("2 with something wrong", page);
    EXPECT_HAS("<bdi>x&lt;i&gt;.wav</bdi>", page);
    EXPECT_HAS("<bdi>Title</bdi>:</span> <bdi>&lt;b&gt;&quot;&amp;</bdi>", page);
    EXPECT_HAS("the file is cut off after", page);
    EXPECT_HAS(">unreadable<", page);
    shop.ExpectRefused({{"report short.w64 -o page.html", 1, "exists already"},
                        {"report short.w64 -o page.png", 2, "should end in .html"}});
}

// Where the browser is installed.
TEST_F(Report, IsSortedByAClick) {
    if (shop.Run("command -v chromium").status != 0) GTEST_SKIP();
    std::string page = ReadText(shop.Path() / "page.html");
    page +=
        "<script>const click = name => headers.find(h => h.textContent.startsWith(name)).firstChild.click();"
        "const order = () => [...body.rows].map(row => row.cells[0].dataset.key).join();"
        "click('Length'); click('Length'); document.title = order();"
        "click('Status'); document.title += ' ' + order();</script>";
    shop.Write("clicked.html", Bytes(page.begin(), page.end()));
    const std::string dom = shop.Run("env -u LD_PRELOAD chromium --headless --no-sandbox --disable-gpu "
                                     "--user-data-dir=profile --dump-dom clicked.html")
                                .output;
    EXPECT_HAS("<title>long.w64,short.w64,x&lt;i&gt;.wav,cut.w64,none.w64 none.w64,cut.w64,", dom);
}

}  // namespace w64
