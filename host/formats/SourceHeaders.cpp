#include "host/formats/SourceHeaders.h"

#include "host/layout/ChunkKind.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <string_view>
#include <utility>

namespace w64 {

namespace {

constexpr int64_t kCodeBytes = 4;
constexpr int64_t kSizeBytes = 4;
constexpr size_t kMaxNameBytes = 64;
constexpr int kMaxEntries = 1000;  // of a list, as a hostile one would keep the program busy
constexpr int kMaxChunks = 100'000;

bool IsPrintable(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) { return std::isprint(c) != 0; });
}

}  // namespace

bool SourceHeaders::LeavesLengthOpen(uint64_t audioBytes) {
    constexpr uint64_t kMaxLess = 4096;  // a frame and the headers
    constexpr std::array<uint64_t, 4> kSizes = {0x7F00'0008, 0x7FFF'F000, 0x8000'0000, 0xFFFF'FFFF};
    return audioBytes == 0 || audioBytes > INT64_MAX || std::ranges::any_of(kSizes, [=](uint64_t size) {
               return audioBytes <= size && audioBytes + kMaxLess > size;
           });
}

bool SourceHeaders::IsStructure(const std::string& code) {
    constexpr std::string_view kCodes =
        "RIFF fmt  data fact ds64 JUNK junk PAD  FLLR FORM COMM SSND FVER VHDR "
        "BODY CHAN desc chan pakt kuki free PEAK peak ";
    const size_t found = kCodes.find(code + " ");
    return found != kCodes.npos && found % (kCodeBytes + 1) == 0;
}

SourceHeaders::SourceHeaders(const std::string& path) : file_(path), fileBytes_(file_.Size()) {
    if (!Has(0, kCodeBytes)) return;
    const std::string code = TextAt(0, kCodeBytes);
    hasTagsForTagLib_ = code == "RIFF" || code == "FORM";
    bigEndian_ = code == "RIFX" || code == "FORM" || code == "caff";
    if (code == "caff") {
        WalkChunks(8, 8, false);
    } else if (bigEndian_ || code == "RIFF" || code == "RF64" || code == "BW64") {
        WalkChunks(12, 4, true);
    } else if (code == "fLaC") {
        WalkBlocks();
    } else if (code == ".snd") {
        ReadSun();
    }
}

void SourceHeaders::WalkChunks(int64_t position, size_t sizeBytes, bool isPadded) {
    const size_t headerBytes = kCodeBytes + sizeBytes;
    for (int i = 0; i < kMaxChunks && Has(position, headerBytes); ++i) {
        const std::string code = TextAt(position, kCodeBytes);
        if (!IsPrintable(code)) {
            if (audioIsEmpty_) bytesInNoChunk_ = fileBytes_ - position;
            return;
        }
        Chunk chunk = {code, position + static_cast<int64_t>(headerBytes),
                       NumberAt(position + kCodeBytes, sizeBytes, bigEndian_)};
        if (code == "data" && chunk.bytes == UINT32_MAX && longAudioBytes_) chunk.bytes = *longAudioBytes_;
        Note(chunk);
        if (!Has(chunk.position, chunk.bytes)) return;
        const auto bytes = static_cast<int64_t>(chunk.bytes);
        position = chunk.position + bytes + (isPadded ? bytes % 2 : 0);
    }
}

// Of AU: one header with room for a text, then the audio.
void SourceHeaders::ReadSun() {
    constexpr int64_t kHeaderBytes = 24;
    if (!Has(0, kHeaderBytes)) return;
    const auto audio = static_cast<int64_t>(NumberAt(4, 4, true));
    NoteAudio({"", audio, NumberAt(8, 4, true)});
    if (audioIsEmpty_) bytesInNoChunk_ = std::max<int64_t>(fileBytes_ - audio, 0);
    const bool hasText = audio > kHeaderBytes && Has(kHeaderBytes, 1) && NumberAt(kHeaderBytes, 1, true) != 0;
    if (hasText) contents_.others.emplace_back("annotation");
}

// Of FLAC: a type with a flag for the last one, a size, and so on.
void SourceHeaders::WalkBlocks() {
    constexpr int64_t kHeaderBytes = 4;
    constexpr std::array<const char*, 7> kKinds = {"", "",          "application data", "",
                                                   "", "cue sheet", "picture"};
    bool isLast = false;
    int64_t position = kCodeBytes;
    for (int i = 0; i < kMaxEntries && !isLast && Has(position, kHeaderBytes); ++i) {
        const auto type = static_cast<unsigned>(NumberAt(position, 1, true));
        isLast = (type & 0x80) != 0;
        const unsigned kind = type & 0x7F;
        if (kind < kKinds.size() && *kKinds[kind]) AddOnce(contents_.others, kKinds[kind]);
        position += kHeaderBytes + static_cast<int64_t>(NumberAt(position + 1, kHeaderBytes - 1, true));
    }
}

void SourceHeaders::Note(const Chunk& chunk) {
    if (chunk.code == "data" || chunk.code == "SSND" || chunk.code == "BODY") {
        NoteAudio(chunk);
    } else if (chunk.code == "ds64" && Has(chunk.position, 16)) {
        longAudioBytes_ = NumberAt(chunk.position + 8, 8, false);
    } else if (chunk.code == "LIST" && Has(chunk.position, kCodeBytes)) {
        NoteList(chunk);
    } else if (chunk.code == "info") {
        NoteStrings(chunk);
    } else if (!IsStructure(chunk.code) && !IsForTagLib(chunk) && !NoteText(chunk) && !NoteExtension(chunk)) {
        AddOnce(contents_.others, ContentOf(chunk.code));
    }
}

void SourceHeaders::NoteAudio(const Chunk& audio) {
    audioIsEmpty_ = audio.bytes == 0;
    if (LeavesLengthOpen(audio.bytes) || Has(audio.position, audio.bytes)) return;
    missingBytes_ = static_cast<int64_t>(audio.bytes) - std::max<int64_t>(fileBytes_ - audio.position, 0);
}

bool SourceHeaders::IsForTagLib(const Chunk& chunk) const {
    return hasTagsForTagLib_ && (chunk.code == "ID3 " || chunk.code == "id3 ");
}

// A chunk that is the text of a tag, in AIFF.
bool SourceHeaders::NoteText(const Chunk& chunk) {
    constexpr std::array<std::pair<std::string_view, const char*>, 4> kNames = {
        {{"NAME", "Title"}, {"AUTH", "Artist"}, {"(c) ", "Copyright"}, {"ANNO", "Comment"}}};
    const auto* name =
        std::ranges::find(kNames, chunk.code, &std::pair<std::string_view, const char*>::first);
    if (name == kNames.end() || !Has(chunk.position, chunk.bytes)) return false;
    AddText(name->second, chunk.position, chunk.bytes);
    return true;
}

// Its fields are little-endian.
bool SourceHeaders::NoteExtension(const Chunk& chunk) {
    const bool isExtension = chunk.code == "bext" && !bigEndian_ && chunk.bytes != 0;
    if (!isExtension || !contents_.broadcastExtension.empty() || !Has(chunk.position, chunk.bytes) ||
        chunk.bytes > Metadata::kMaxExtensionBytes) {
        return false;
    }
    const std::string bytes = TextAt(chunk.position, chunk.bytes);
    contents_.broadcastExtension.assign(bytes.begin(), bytes.end());
    return true;
}

// A chunk for each tag, or texts for markers.
void SourceHeaders::NoteList(const Chunk& list) {
    const std::string type = TextAt(list.position, kCodeBytes);
    if (type != "INFO") {
        return AddOnce(contents_.others, type == "adtl" ? "texts of markers" : ContentOf(list.code));
    }
    const uint64_t end = static_cast<uint64_t>(list.position) + list.bytes;
    int64_t position = list.position + kCodeBytes;
    for (int i = 0; i < kMaxEntries && static_cast<uint64_t>(position) < end; ++i) {
        if (!Has(position, kCodeBytes + kSizeBytes)) return;
        const std::string code = TextAt(position, kCodeBytes);
        const auto bytes = static_cast<int64_t>(NumberAt(position + kCodeBytes, kSizeBytes, bigEndian_));
        position += kCodeBytes + kSizeBytes;
        AddText(code, position, static_cast<uint64_t>(bytes));
        position += bytes + bytes % 2;
    }
}

// A number of pairs of names and values, each ended by a zero.
void SourceHeaders::NoteStrings(const Chunk& info) {
    if (info.bytes < kSizeBytes || !Has(info.position, info.bytes)) return;
    const size_t bytes = std::min<uint64_t>(info.bytes, Metadata::kMaxTextBytes) - kSizeBytes;
    std::istringstream texts(TextAt(info.position + kSizeBytes, bytes));
    texts.exceptions(std::ios::badbit);  // when memory runs out
    std::string name;
    std::string value;
    while (std::getline(texts, name, '\0') && std::getline(texts, value, '\0')) {
        contents_.Add(name.substr(0, kMaxNameBytes), value);
    }
}

// What there is of it.
void SourceHeaders::AddText(const std::string& name, int64_t position, uint64_t bytes) {
    if (!IsPrintable(name)) return;
    const auto left = static_cast<uint64_t>(std::max<int64_t>(fileBytes_ - position, 0));
    // A longer one is refused all the same.
    const uint64_t read = std::min({bytes, left, uint64_t{Metadata::kMaxTextBytes} + 1});
    contents_.Add(name, TextAt(position, read));
}

bool SourceHeaders::Has(int64_t position, uint64_t bytes) const {
    return position <= fileBytes_ && bytes <= static_cast<uint64_t>(fileBytes_ - position);
}

std::string SourceHeaders::TextAt(int64_t position, size_t bytes) {
    std::string text(bytes, '\0');
    if (!file_.SetPosition(position) || file_.Read(text.data(), bytes) < bytes) {
        throw Failure("cannot read the header");
    }
    return text;
}

uint64_t SourceHeaders::NumberAt(int64_t position, size_t bytes, bool bigEndian) {
    std::string digits = TextAt(position, bytes);
    if (!bigEndian) std::ranges::reverse(digits);
    uint64_t number = 0;
    for (const char digit : digits) number = number << 8 | static_cast<uint8_t>(digit);
    return number;
}

}  // namespace w64
