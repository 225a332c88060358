#include "host/layout/Wave64File.h"

#include "host/layout/ChunkKind.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/FormatText.h"
#include "tags/ChunkTags.h"

#include <algorithm>

namespace w64 {

namespace {

// The names of the tags, or their number if they are many.
std::string DescribeTags(const SummaryLists& lists) {
    constexpr int kNamed = 6;
    const int count = lists.tags.Count();
    if (!lists.areWhole || count == 0) return "tags";
    if (count > kNamed) return Counted(count, "tag");
    std::vector<std::string> names;
    names.reserve(kNamed);
    for (int i = 0; i < count; ++i) names.push_back(ToPrintable(lists.tags[i].Name));
    return "tags (" + Joined(names, ", ") + ")";
}

}  // namespace

std::optional<std::vector<uint8_t>> ReadFormatRecord(XFile& file, int64_t position, int64_t bytes) {
    constexpr int64_t kMaxBytes = sizeof(tWAVEFORMATEX) + UINT16_MAX;  // cbSize has 16 bits
    std::vector<uint8_t> record(static_cast<size_t>(std::min(bytes, kMaxBytes)));
    if (!file.SetPosition(position) || file.Read(record.data(), record.size()) < record.size()) {
        return std::nullopt;
    }
    return record;
}

Wave64File::Wave64File(const std::filesystem::path& path) : channels_(0) {
    if (file_.Open(FromUTF8(path.native()), XFile::Access::Read) &&
        chunks_.Initialize(file_.Handle(), channels_.Report())) {
        ReadFormat();
    }
}

void Wave64File::ReadFormat() {
    const STRIFFChunk* fmt = chunks_.FindChunkForRead("fmt ");
    if (!fmt) return;
    auto record = ReadFormatRecord(file_, fmt->FileDataPosition, fmt->DataSize);
    if (record) format_.emplace(record->data(), static_cast<unsigned>(record->size()));
}

std::optional<int64_t> Wave64File::Frames() {
    const STRIFFChunk* data = chunks_.FindChunkForRead("data");
    if (!data || !format_ || !IsLinear(format_->WFXFormatTag()) || format_->BlockAlign() == 0) {
        return std::nullopt;
    }
    return data->DataSize / format_->BlockAlign();
}

std::vector<std::string> Wave64File::Extras() {
    constexpr size_t kMax = 8;
    constexpr int64_t kEmptyList = 4;  // bytes: a count
    bool hasTags = false;
    std::vector<std::string> extras;
    for (int i = 0; i < chunks_.Count() && extras.size() < kMax; ++i) {
        const GUID& identifier = chunks_[i].ChunkGUID;
        if (CompareGUID(identifier, kSummaryListCode)) {
            hasTags = hasTags || chunks_[i].DataSize > kEmptyList;
        } else if (!IsOneOf(identifier, {"fmt ", "data", "fact", "ds64", "JUNK", "PAD "})) {
            const std::string content =
                HasName(identifier) ? ContentOf(RIFFChnkGUID2CHR(identifier)) : "unknown chunk";
            if (std::ranges::find(extras, content) == extras.end()) extras.push_back(content);
        }
    }
    if (extras.size() == kMax) extras.back() = "others";
    TaggingOptions options;
    options.text = LISTText::UTF16;  // reads every form
    if (hasTags) {
        const SummaryLists lists = ChunkTags::ReadSummaryLists(file_, chunks_, options, {});
        extras.insert(extras.begin(), DescribeTags(lists));
    }
    return extras;
}

int64_t Wave64File::MissingBytes() {
    const STRIFFChunk* last = chunks_.GetChunk(chunks_.Count() - 1);
    return last ? std::max<int64_t>(last->FileDataPosition + last->DataSize - FileBytes(), 0) : 0;
}

int64_t Wave64File::PresentAudioBytes() {
    const STRIFFChunk* data = chunks_.FindChunkForRead("data");
    return data ? std::clamp<int64_t>(FileBytes() - data->FileDataPosition, 0, data->DataSize) : 0;
}

std::string Wave64File::DescribeCut() {
    const int64_t missing = MissingBytes();
    if (missing == 0) return "";
    std::string text =
        "the file is cut off, " + Counted(missing, "byte") + (missing == 1 ? " is missing" : " are missing");
    if (!format_) return text;
    const int64_t milliseconds = XAudioWFX(*format_).CalcmsTime(PresentAudioBytes());
    return text + "; " + FormatDuration(milliseconds) + " of audio is there";
}

}  // namespace w64
