#include "host/layout/Wave64File.h"

#include "base/XStr.h"
#include "host/layout/ChunkKind.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/FormatText.h"
#include "tags/ChunkTags.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr STNStdReport kNoReport{};

// The data of a chunk; nothing if it is too long to be carried, or not there.
std::vector<uint8_t> ReadChunk(XFile& file, const STRIFFChunk& chunk) {
    if (chunk.DataSize > static_cast<int64_t>(Metadata::kMaxExtensionBytes)) return {};
    std::vector<uint8_t> data(static_cast<size_t>(chunk.DataSize));
    const bool isRead =
        file.SetPosition(chunk.FileDataPosition) && file.Read(data.data(), data.size()) == data.size();
    return isRead ? data : std::vector<uint8_t>();
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

Wave64File::Wave64File(const std::filesystem::path& path) : file_(path) {
    if (chunks_.Initialize(file_.Handle(), kNoReport)) ReadFormat();
    RequireNoError(chunks_);
    RequireNoError(file_);
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

Metadata Wave64File::ReadMetadata() {
    Metadata metadata;
    AddTags(metadata);
    FoundChunk extension = FindBroadcastExtension();
    metadata.broadcastExtension = std::move(extension.data);
    for (int i = 0; i < chunks_.Count(); ++i) {
        const GUID& identifier = chunks_[i].ChunkGUID;
        if (i == extension.index || CompareGUID(identifier, kSummaryListCode) ||
            IsOneOf(identifier, {"fmt ", "data", "fact", "ds64", "JUNK", "PAD "})) {
            continue;
        }
        AddOnce(metadata.others,
                HasName(identifier) ? ContentOf(RIFFChnkGUID2CHR(identifier)) : "unknown chunk");
    }
    RequireNoError(file_);
    return metadata;
}

Wave64File::FoundChunk Wave64File::FindBroadcastExtension() {
    for (int i = 0; i < chunks_.Count(); ++i) {
        if (!IsOneOf(chunks_[i].ChunkGUID, {"bext"})) continue;
        std::vector<uint8_t> data = ReadChunk(file_, chunks_[i]);
        if (!data.empty()) return {i, std::move(data)};
    }
    return {};
}

void Wave64File::AddTags(Metadata& metadata) {
    TaggingOptions options = TaggingOptions::Read();
    options.text = LISTText::UTF16;  // reads every form
    const SummaryLists lists = ChunkTags::ReadSummaryLists(file_, chunks_, options, {});
    for (int i = 0; i < lists.tags.Count(); ++i) {
        metadata.Add(ToUTF8(lists.tags[i].Name), ToPrintable(lists.tags[i].Value));
    }
    if (!lists.areWhole) metadata.others.emplace_back("damaged tags");
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
