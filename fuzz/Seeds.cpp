// seeds FOLDER: writes what each fuzz target begins with into FOLDER/TARGET/.

#include "LayoutBytes.h"
#include "MPEGBytes.h"
#include "TagBlock.h"

#include <random>

namespace w64 {

namespace {

namespace fs = std::filesystem;

class Seeds {
public:
    explicit Seeds(fs::path folder) : folder_(std::move(folder)) {}

    void Add(const std::string& target, const Bytes& bytes) {
        fs::create_directories(folder_ / target);
        std::ofstream file(folder_ / target / std::to_string(++count_), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        if (!file.flush()) throw std::runtime_error("cannot write into " + folder_.native());
    }

    Bytes Random(size_t bytes) {
        Bytes random(bytes);
        for (uint8_t& byte : random) byte = static_cast<uint8_t>(random_());
        return random;
    }

private:
    fs::path folder_;
    int count_ = 0;
    std::mt19937 random_{1};
};

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

Bytes Counted16(const Bytes& bytes) {
    Bytes counted;
    Append(counted, static_cast<uint16_t>(bytes.size()));
    return counted + bytes;
}

Bytes Counted8(const Bytes& bytes) { return Bytes{static_cast<uint8_t>(bytes.size())} + bytes; }

std::vector<Bytes> Wave64Files(const Bytes& mpeg) {
    const Bytes audio = Pattern(700);
    std::vector<Bytes> files;
    for (const auto& [tag, bits] : {std::pair{1, 8}, {1, 16}, {1, 24}, {1, 32}, {3, 32}, {3, 64}, {2, 4}})
        files.push_back(Wave64Bytes()
                            .Fmt(static_cast<uint16_t>(tag), 2, 44100, static_cast<uint16_t>(bits))
                            .Data(audio)
                            .File());
    files.push_back(
        Wave64Bytes().Chunk("fmt ", Wave64Bytes::ExtensibleBody(1, 6, 48000, 24, 63)).Data(audio).File());
    for (const uint16_t tag : std::vector<uint16_t>{80, 85})
        files.push_back(Wave64Bytes().Fmt(tag, 1, 8000, 0).Data(mpeg).File());
    for (const char* layout :
         {"fmt junk:400z data:300 wide:INAM=Hello,IART=Abba", "fmt wide:INAM=Hello pad:16 data:301 bext:602",
          "utf16:INAM=A,IPRD=B,ISRC=C,itrk=1 fmt data:300 levl:9", "fmt data:0 half:INAM=Half",
          "fmt fact:4 data:100 abcd:7", "fmt data:300 wide:XXXX=Unknown,ICMT=Comment utf16:INAM=Again"})
        files.push_back(FileOf(layout));
    return files;
}

void AddAll(Seeds& seeds) {
    const Bytes mpeg = Slice(Encoded(8000, 1, "16"), 0, 1500);
    for (const Bytes& file : Wave64Files(mpeg)) {
        // All options 0, then: open for all, decode, go to a frame, decode; or write tags, open, delete tags.
        const Bytes decode = Bytes(8) + Bytes{0, 1, 1, 2, 3, 3, 0, 7, 0, 2, 7, 8};
        const Bytes edit =
            Bytes{1, 2, 0, 0, 0, 0, 0, 0} + Bytes{1, 5, 1, 1, 1, 9, 0, 65, 0, 0, 0, 0, 1, 1, 6, 0};
        seeds.Add("Boundary", Counted16(decode) + file);
        seeds.Add("Boundary", Counted16(edit) + file);
        seeds.Add("Boundary", Counted16(seeds.Random(60)) + file);
    }
    for (const std::string form : {"half", "wide", "utf16"}) {
        for (const uint8_t text : Bytes{0, 1, 2}) {
            seeds.Add("SummaryList",
                      Bytes{0, 1, text} + ListData(form, "INAM=Hello,IART=A,IPRD=BC,ISRC=D,TRCK=3,XXXX=E"));
            seeds.Add("SummaryList", Bytes{1, 0, text} + ListData(form, "DISP=Hello there"));
        }
    }
    seeds.Add("TagBlocks", Pack({{L"Title", L"Hello"}, {L"Track", L"3/12"}, {L"_riff_1", L"", Pattern(30)}}));
    seeds.Add("TagBlocks",
              Pack({{L"_albumart_3_Front Album Cover<text>", L"", Pattern(9)}, {L"title", L"\xD834"}}));
    seeds.Add("TagBlocks", Bytes{2, 0, 0, 0, 10, 0, 0, 0} + Text(std::string("ab\0cd\0", 6)) +
                               Bytes{8, 0, 0, 0} + Text(std::string("\xC3\xA9\0\0", 4)));
    for (
        const char* json :
        {"", "{}", "[1, -2, \"a\\u00e9\\n\", [true, false, null], {}]",
         "{\"UNSPEC\": {\"x\": 18446744073709551616}}",
         R"({"HKCU": {"x": 1, "Software": {"y": "z", "x": ["one", "two"]}, "A": {"b": {"c": {"x": {}}}}}})"}) {
        for (int i = 0; i < 4; ++i) seeds.Add("Settings", Counted8(seeds.Random(60)) + Text(json));
    }
    seeds.Add("Settings", Counted8(seeds.Random(60)) + Text(SettingsOf("SafeEdit=1 LISTText=2")));
    for (int i = 0; i < 40; ++i) {
        for (const char* target : {"TagEdit", "Conversion", "Recovery"})
            seeds.Add(target,
                      Bytes{static_cast<uint8_t>(i)} + seeds.Random(40 + 10 * static_cast<size_t>(i)));
    }
    for (const uint8_t hasPackets : Bytes{0, 1}) {
        for (const Bytes& stream :
             {mpeg, Slice(Encoded(44100, 2, "64"), 0, 3000), Slice(Encoded(32000, 2, "-4"), 0, 3000),
              Slice(Encoded(48000, 1, "64", "mp2"), 0, 3000), Slice(mpeg, 0, 700) + mpeg})
            seeds.Add("MPEG", Bytes{hasPackets} + Counted8(seeds.Random(30)) + stream);
    }
}

}  // namespace

}  // namespace w64

int main(int count, char** arguments) {
    if (count != 2) return 2;
    w64::Seeds seeds(arguments[1]);
    w64::AddAll(seeds);
}
