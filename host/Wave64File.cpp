#include "host/Wave64File.h"

#include "host/FormatText.h"

#include <algorithm>

std::optional<std::vector<uint8_t>> ReadFormatRecord(XFile& file, int64_t position, int64_t bytes) {
    constexpr int64_t kLongest = sizeof(tWAVEFORMATEX) + UINT16_MAX;  // a record cannot say that it is longer
    std::vector<uint8_t> record(static_cast<size_t>(std::min(bytes, kLongest)));
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
    const std::string text = "the file is cut off, " + Grouped(missing) + " bytes are missing";
    if (!format_) return text;
    const int64_t milliseconds = XAudioWFX(*format_).CalcmsTime(PresentAudioBytes());
    return text + "; " + FormatDuration(milliseconds) + " of audio is there";
}

bool Wave64File::IsWhole() const {
    const int64_t unpadded = chunks_.RiffSize() - FileBytes();  // some writers leave out the last padding
    return unpadded >= 0 && unpadded < 8 && channels_.Errors().empty();
}
