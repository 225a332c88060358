#include "tags/clRIFFSUMMARYLISTChunk.h"

#include "base/LittleEndian.h"
#include "plugin/interface/StdReport.h"
#include "wave64/container/ChunkCodes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace {

constexpr const char* kInitFrom = "InitFrom";
constexpr const char* kTagsToLIST = "TagsToLIST";
constexpr size_t kCountBytes = 4;
constexpr size_t kEntryHeaderBytes = 8;  // identifier and size

constexpr uint32_t Code(const char (&fourcc)[5]) {
    return std::bit_cast<uint32_t>(std::array{fourcc[0], fourcc[1], fourcc[2], fourcc[3]});
}

struct IdentifierAndName {
    uint32_t identifier;
    const wchar_t* name;
};

// Those that stand for one name and are written for it, whatever the options.
constexpr IdentifierAndName kPlainNames[] = {
    {Code("DISP"), L"Sound Scheme Title"},
    {Code("IARL"), L"Archival Location"},
    {Code("IART"), L"Artist"},
    {Code("ICMS"), L"Commissioned"},
    {Code("ICMT"), L"Comment"},
    {Code("ICOP"), L"Copyright"},
    {Code("ICRD"), L"Year"},
    {Code("ICRP"), L"Cropped"},
    {Code("IDIM"), L"Dimensions"},
    {Code("IDPI"), L"DPI"},
    {Code("IENG"), L"Engineer"},
    {Code("IGNR"), L"Genre"},
    {Code("IKEY"), L"Keywords"},
    {Code("ILGT"), L"Lightness"},
    {Code("IMED"), L"Medium"},
    {Code("INAM"), L"Title"},
    {Code("IPLT"), L"Palette Setting"},
    {Code("ISBJ"), L"Subject"},
    {Code("ISFT"), L"Encoded By"},
    {Code("ISHP"), L"Sharpness"},
    {Code("ISRF"), L"Source"},
    {Code("ITCH"), L"Technician"},
    {Code("LOCA"), L"Location"},
    {Code("TLEN"), L"Length"},
    {Code("TORG"), L"Label"},
    {Code("TURL"), L"URL"},
    {Code("TVER"), L"Version"},
};

// Null for an identifier that is not known.
const wchar_t* NameOf(uint32_t identifier, bool albumInISRC) {
    switch (identifier) {
    case Code("IPRD"):
        return albumInISRC ? L"Product" : L"Album";
    case Code("ISRC"):
        return albumInISRC ? L"Album" : L"ISRC";
    case Code("TRCK"):
    case Code("itrk"):
        return L"Track";
    default:
        const auto* plain = std::ranges::find(kPlainNames, identifier, &IdentifierAndName::identifier);
        return plain != std::end(kPlainNames) ? plain->name : nullptr;
    }
}

// 0 for a name that has none. "Product" has none on purpose, and an album can share one with an ISRC.
uint32_t IdentifierOf(std::wstring_view name, bool albumInISRC, bool trackInTRCK) {
    if (EqualNoCase(name, L"Album")) return albumInISRC ? Code("ISRC") : Code("IPRD");
    if (EqualNoCase(name, L"ISRC")) return Code("ISRC");
    if (EqualNoCase(name, L"Track")) return trackInTRCK ? Code("TRCK") : Code("itrk");
    const auto* plain = std::ranges::find_if(
        kPlainNames, [name](const IdentifierAndName& row) { return EqualNoCase(row.name, name); });
    return plain != std::end(kPlainNames) ? plain->identifier : 0;
}

// Reading

using Bytes = std::span<const uint8_t>;

// All bytes as characters of one width, the last completed by zero bits.
template <class Text>
Text Characters(Bytes bytes) {
    constexpr size_t width = sizeof(typename Text::value_type);
    Text text((bytes.size() + width - 1) / width, 0);
    std::ranges::copy(bytes, reinterpret_cast<uint8_t*>(text.data()));
    return text;
}

template <class Text>
std::span<const typename Text::value_type> UpToZero(const Text& text) {
    return std::span(text).first(std::min(text.find(typename Text::value_type{}), text.size()));
}

bool IsCodePoint(wchar_t c) { return static_cast<char32_t>(c) <= 0x10FFFF; }

bool IsInPlaneInUse(wchar_t c) {
    const uint32_t plane = static_cast<char32_t>(c) >> 16;
    return plane <= 3 || plane >= 14;
}

// The form that the bytes of an entry are in, Wide or UTF16; none where they read the same in both.
std::optional<LISTText> FormOf(const XStr& codes, const std::u16string& units) {
    const auto text = UpToZero(codes);
    if (text.empty()) return {};
    // Surrogates pass: a value that came as 16-bit units may have been stored with one per code.
    if (!std::ranges::all_of(text, IsCodePoint)) return LISTText::UTF16;
    const size_t unitCount = UpToZero(units).size();
    const bool canBeUnits = unitCount + 1 >= units.size();
    if (!canBeUnits) return LISTText::Wide;
    if (unitCount == 1) return {};
    // Pairs of units that happen to be code points: U+1F3B5 and "A", or 16-bit text with a control character
    // at every second place. A tab or a line end there lies in a plane that has no characters.
    return std::ranges::all_of(text, IsInPlaneInUse) ? LISTText::Wide : LISTText::UTF16;
}

// Reads the entries' texts, and learns from the first that tells which form they are in.
class TextReader {
public:
    explicit TextReader(LISTText& form) : form_(form) {}

    XStr Read(Bytes bytes) {
        XStr codes = Characters<XStr>(bytes);
        if (form_ != LISTText::Half) {
            const auto units = Characters<std::u16string>(bytes);
            const auto form = FormOf(codes, units);
            if (form && !settled_) {
                form_ = *form;
                settled_ = true;
            }
            if (form == LISTText::UTF16) {
                const auto text = UpToZero(units);
                return {text.begin(), text.end()};
            }
        }
        codes.resize(UpToZero(codes).size());
        return form_ == LISTText::Half ? codes : SplitIntoUnits(codes);
    }

private:
    LISTText& form_;
    bool settled_ = false;
};

void ReadEntries(Bytes data, NTag& tags, const STNStdReport& report, bool albumInISRC, LISTText& form) {
    const auto count = Load<uint32_t>(data.data());
    Bytes rest = data.subspan(kCountBytes);
    TextReader reader(form);
    for (uint32_t i = 0; i < count && rest.size() >= kEntryHeaderBytes; ++i) {
        const auto identifier = Load<uint32_t>(rest.data());
        const auto bytes = Load<uint32_t>(rest.data() + sizeof identifier);
        rest = rest.subspan(kEntryHeaderBytes);
        if (bytes > rest.size()) {
            StdReport::WriteERROR(L"Error LIST sub chunk is corrupted", report, kInitFrom);
            return;
        }
        const XStr value = reader.Read(rest.first(bytes));
        rest = rest.subspan(bytes);
        if (const wchar_t* name = NameOf(identifier, albumInISRC)) {
            tags.AddTag(name, value.c_str());
        } else {
            const XStr fourcc = Widen(RIFFChnkID2CHR(identifier));
            StdReport::WriteINFO(L"Unknown LIST sub chunk '" + fourcc + L"' Dropping it.", report, kInitFrom);
        }
    }
}

// Writing

template <class Text>
void AppendBytes(std::string& out, const Text& text, size_t bytes) {
    out.append(reinterpret_cast<const char*>(text.data()), bytes);
}

void AppendText(std::string& out, const XStr& value, LISTText form) {
    constexpr size_t kTerminator = 2;
    if (form == LISTText::Half) {
        AppendBytes(out, value, 2 * value.size());
        out.append(kTerminator, '\0');
    } else if (form == LISTText::Wide) {
        const XStr codes = JoinUnits(value);
        AppendBytes(out, codes, sizeof(wchar_t) * codes.size());
    } else {
        const XStr wide = SplitIntoUnits(value);
        const std::u16string units(wide.begin(), wide.end());
        AppendBytes(out, units, 2 * units.size());
        out.append(kTerminator, '\0');
    }
}

void AppendEntry(std::string& out, uint32_t identifier, const XStr& value, LISTText form) {
    std::array<uint32_t, 2> header = {identifier, 0};
    const size_t at = out.size();
    AppendBytes(out, header, sizeof header);
    AppendText(out, value, form);
    Store(out.data() + at + sizeof identifier, static_cast<uint32_t>(out.size() - at - sizeof header));
}

// The count, then an entry for every tag that can be stored; empty when none can.
std::string BuildList(const NTag& tags, bool albumInISRC, bool trackInTRCK, LISTText form) {
    std::string list(kCountBytes, '\0');
    uint32_t count = 0;
    for (int i = 0; i < tags.Count(); ++i) {
        const uint32_t identifier = IdentifierOf(tags[i].Name, albumInISRC, trackInTRCK);
        if (identifier == 0 || tags[i].Value.empty()) continue;
        AppendEntry(list, identifier, tags[i].Value, form);
        ++count;
    }
    Store(list.data(), count);
    return count == 0 ? std::string() : list;
}

}  // namespace

bool clRIFFSUMMARYLISTChunk::InitFrom(const void* data, unsigned int size, NTag& tags,
                                      const STNStdReport& report, int albumOption, LISTText& text) {
    StdReport::WriteDEBUG(L"->->", report, kInitFrom, true);
    tags.Destroy();
    if (data && size >= kCountBytes) {
        StdReport::WriteDEBUG(L"Decoding LISTSUMMARY chunk:", report, nullptr, true);
        ReadEntries({static_cast<const uint8_t*>(data), size}, tags, report, albumOption != 0, text);
    }
    StdReport::WriteDEBUG(L"<-<-", report, kInitFrom, true);
    return tags.Count() > 0;
}

bool clRIFFSUMMARYLISTChunk::TagsToLIST(XMem& out, const NTag& tags, const STNStdReport& report,
                                        int albumOption, int trackOption, LISTText text) {
    StdReport::WriteDEBUG(L"->->", report, kTagsToLIST, true);
    out.Clear();
    std::string list;
    try {
        list = BuildList(tags, albumOption != 0, trackOption != 0, text);
    } catch (const std::bad_alloc&) {
        return false;
    }
    // Sizes in a list have 32 bits.
    if (list.size() > std::numeric_limits<uint32_t>::max() || !out.Assign(list.data(), list.size())) {
        StdReport::WriteERROR(L"Error Allocating Memory.", report, kTagsToLIST);
        return false;
    }
    StdReport::WriteDEBUG(L"<-<-", report, kTagsToLIST, true);
    return true;
}

bool clRIFFSUMMARYLISTChunk::IsWhole(const void* data, unsigned int size) {
    if (!data || size < kCountBytes) return size == 0;
    Bytes rest = Bytes(static_cast<const uint8_t*>(data), size).subspan(kCountBytes);
    for (auto left = Load<uint32_t>(data); left > 0 && rest.size() >= kEntryHeaderBytes; --left) {
        const auto bytes = Load<uint32_t>(rest.data() + sizeof(uint32_t));
        rest = rest.subspan(kEntryHeaderBytes);
        if (bytes > rest.size()) return false;
        rest = rest.subspan(bytes);
    }
    return true;
}

bool clRIFFSUMMARYLISTChunk::HasIdentifier(const XStr& name) { return IdentifierOf(name, false, false) != 0; }

std::vector<const wchar_t*> clRIFFSUMMARYLISTChunk::Names() {
    std::vector<const wchar_t*> names = {L"Album", L"ISRC", L"Track"};
    for (const IdentifierAndName& row : kPlainNames) names.push_back(row.name);
    return names;
}
