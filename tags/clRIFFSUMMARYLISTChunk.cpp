#include "tags/clRIFFSUMMARYLISTChunk.h"

#include "base/LittleEndian.h"
#include "interface/StdReport.h"
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

namespace w64 {

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

// Identifiers that map to one name, whatever the options.
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

// Null for an unknown identifier.
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

// The options of the user.
struct Identifiers {
    bool albumInISRC = false;
    bool trackInTRCK = false;
};

// 0 for a name without an identifier. "Product" has none on purpose, and "Album" can share one with "ISRC".
uint32_t IdentifierOf(std::wstring_view name, Identifiers use) {
    if (EqualNoCase(name, L"Album")) return use.albumInISRC ? Code("ISRC") : Code("IPRD");
    if (EqualNoCase(name, L"ISRC")) return Code("ISRC");
    if (EqualNoCase(name, L"Track")) return use.trackInTRCK ? Code("TRCK") : Code("itrk");
    const auto* plain = std::ranges::find_if(
        kPlainNames, [name](const IdentifierAndName& row) { return EqualNoCase(row.name, name); });
    return plain != std::end(kPlainNames) ? plain->identifier : 0;
}

// Reading

using Bytes = std::span<const uint8_t>;

struct Entry {
    uint32_t identifier;
    Bytes text;
};

// Iterates over the entries of a list of at least kCountBytes.
class EntryWalk {
public:
    explicit EntryWalk(Bytes list)
        : left_(base::Load<uint32_t>(list.data())), rest_(list.subspan(kCountBytes)) {}

    std::optional<Entry> Next() {
        if (left_ == 0 || rest_.size() < kEntryHeaderBytes) return {};
        const auto identifier = base::Load<uint32_t>(rest_.data());
        const auto bytes = base::Load<uint32_t>(rest_.data() + sizeof identifier);
        isWhole_ = bytes <= rest_.size() - kEntryHeaderBytes;
        left_ = isWhole_ ? left_ - 1 : 0;
        if (!isWhole_) return {};
        const Entry entry{identifier, rest_.subspan(kEntryHeaderBytes, bytes)};
        rest_ = rest_.subspan(kEntryHeaderBytes + bytes);
        return entry;
    }

    // After the last entry: whether every entry ended within the list, and the bytes after the last one.
    bool IsWhole() const { return isWhole_; }
    Bytes Rest() const { return rest_; }

private:
    uint32_t left_;
    Bytes rest_;
    bool isWhole_ = true;
};

// The bytes as characters of one width, the last one padded with zeros.
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

// The form that an entry's bytes suggest.
struct FormFound {
    LISTText form;  // Wide or UTF16
    bool isGuess = false;
};

// None if the bytes read the same in both forms.
std::optional<FormFound> FormOf(const XStr& codes, const std::u16string& units) {
    const auto text = UpToZero(codes);
    if (text.empty()) return {};
    // Surrogates are accepted: a value in 16-bit units may have been stored with one unit per character.
    if (!std::ranges::all_of(text, IsCodePoint)) return FormFound{LISTText::UTF16};
    const size_t unitCount = UpToZero(units).size();
    const bool canBeUnits = unitCount + 1 >= units.size();
    // One character reads the same in both; more than a zero after it may be the rest of a fixed-size field.
    const bool isSame = text.size() == 1 && unitCount == 1;
    if (!canBeUnits) return FormFound{LISTText::Wide, isSame};
    if (isSame) return {};
    // Units whose pairs happen to be code points: 16-bit text with a control character at every second place. A
    // tab or line end there gives a plane without characters, unlike U+1F3B5 and other 32-bit characters.
    return FormFound{std::ranges::all_of(text, IsInPlaneInUse) ? LISTText::Wide : LISTText::UTF16};
}

struct Value {
    XStr text;
    Bytes rest;  // from the zero that ends the text on
};

// Reads the entries' texts and detects their form. The first certain entry decides; until then the last guess
// holds.
class TextReader {
public:
    explicit TextReader(LISTText& form) : form_(form) {}

    Value Read(Bytes bytes) {
        XStr codes = Characters<XStr>(bytes);
        if (form_ != LISTText::Half) {
            const auto units = Characters<std::u16string>(bytes);
            const auto found = FormOf(codes, units);
            if (found && !isSure_) {
                form_ = found->form;
                isSure_ = !found->isGuess;
            }
            if (found && found->form == LISTText::UTF16) {
                const auto text = UpToZero(units);
                return {{text.begin(), text.end()}, After(bytes, text.size_bytes())};
            }
        }
        codes.resize(UpToZero(codes).size());
        const Bytes rest = After(bytes, sizeof(wchar_t) * codes.size());
        return {form_ == LISTText::Half ? codes : SplitIntoUnits(codes), rest};
    }

private:
    static Bytes After(Bytes bytes, size_t textBytes) {
        return bytes.subspan(std::min(textBytes, bytes.size()));
    }

    LISTText& form_;
    bool isSure_ = false;
};

bool HoldsMoreThanZeros(Bytes bytes) {
    return std::ranges::any_of(bytes, [](uint8_t byte) { return byte != 0; });
}

void ReadEntries(Bytes data, NTag& tags, const STNStdReport& report, bool albumInISRC, LISTText& form) {
    EntryWalk walk(data);
    TextReader reader(form);
    while (const auto entry = walk.Next()) {
        const XStr value = reader.Read(entry->text).text;
        if (const wchar_t* name = NameOf(entry->identifier, albumInISRC)) {
            tags.AddTag(name, value.c_str());
        } else {
            const XStr fourcc = Widen(RIFFChnkID2CHR(entry->identifier));
            StdReport::WriteINFO(L"Unknown LIST sub chunk '" + fourcc + L"' Dropping it.", report, kInitFrom);
        }
    }
    if (!walk.IsWhole()) StdReport::WriteERROR(L"Error LIST sub chunk is corrupted", report, kInitFrom);
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
    base::Store(out.data() + at + sizeof identifier, static_cast<uint32_t>(out.size() - at - sizeof header));
}

// The count, then an entry for each tag that can be stored; empty if there is none.
std::string BuildList(const NTag& tags, Identifiers use, LISTText form) {
    std::string list(kCountBytes, '\0');
    uint32_t count = 0;
    for (int i = 0; i < tags.Count(); ++i) {
        const uint32_t identifier = IdentifierOf(tags[i].Name, use);
        if (identifier == 0 || tags[i].Value.empty()) continue;
        AppendEntry(list, identifier, tags[i].Value, form);
        ++count;
    }
    base::Store(list.data(), count);
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
        list = BuildList(tags, {.albumInISRC = albumOption != 0, .trackInTRCK = trackOption != 0}, text);
    } catch (const std::bad_alloc&) {
        return false;
    }
    // Sizes in a list have 32 bits.
    if (list.size() > std::numeric_limits<uint32_t>::max() || !out.Assign(list.data(), list.size())) {
        return StdReport::Fail(L"Error Allocating Memory.", report, kTagsToLIST);
    }
    StdReport::WriteDEBUG(L"<-<-", report, kTagsToLIST, true);
    return true;
}

bool clRIFFSUMMARYLISTChunk::IsWhole(const void* data, unsigned int size) {
    if (!data || size < kCountBytes) return size == 0;
    EntryWalk walk({static_cast<const uint8_t*>(data), size});
    while (walk.Next()) continue;
    return walk.IsWhole();
}

std::vector<XStr> clRIFFSUMMARYLISTChunk::HiddenParts(const void* data, unsigned int size, int albumOption) {
    std::vector<XStr> parts;
    if (!data || size < kCountBytes) return parts;
    EntryWalk walk({static_cast<const uint8_t*>(data), size});
    LISTText form = LISTText::UTF16;
    TextReader reader(form);
    while (const auto entry = walk.Next()) {
        const wchar_t* name = NameOf(entry->identifier, albumOption != 0);
        const bool hidesText = HoldsMoreThanZeros(reader.Read(entry->text).rest);
        if (!name) {
            parts.push_back(L"the unknown '" + Widen(RIFFChnkID2CHR(entry->identifier)) + L"'");
        } else if (hidesText) {
            parts.push_back(L"text after the end of '" + XStr(name) + L"'");
        }
    }
    if (walk.IsWhole() && HoldsMoreThanZeros(walk.Rest())) {
        parts.push_back(L"the bytes after the last tag");
    }
    return parts;
}

bool clRIFFSUMMARYLISTChunk::HasIdentifier(const XStr& name) { return IdentifierOf(name, {}) != 0; }

const wchar_t* clRIFFSUMMARYLISTChunk::NameOfIdentifier(const XStr& code) {
    std::array<char, 4> bytes{};
    if (code.size() != bytes.size()) return nullptr;
    std::ranges::transform(code, bytes.begin(),
                           [](wchar_t c) { return c < 0x80 ? static_cast<char>(c) : '\0'; });
    return NameOf(std::bit_cast<uint32_t>(bytes), false);
}

std::string clRIFFSUMMARYLISTChunk::Identifier(const XStr& name) {
    const uint32_t identifier = IdentifierOf(name, {});
    return identifier == 0 ? "" : RIFFChnkID2CHR(identifier);
}

std::vector<const wchar_t*> clRIFFSUMMARYLISTChunk::Names() {
    std::vector<const wchar_t*> names = {L"Album", L"ISRC", L"Track"};
    for (const IdentifierAndName& row : kPlainNames) names.push_back(row.name);
    return names;
}

}  // namespace w64
