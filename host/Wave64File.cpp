#include "host/Wave64File.h"

#include <algorithm>
#include <vector>

Wave64File::Wave64File(const std::filesystem::path& path) : channels_(0) {
    if (file_.Open(FromUTF8(path.native()), XFile::Access::Read) &&
        chunks_.Initialize(file_.Handle(), channels_.Report())) {
        ReadFormat();
    }
}

void Wave64File::ReadFormat() {
    constexpr int64_t kLargest = sizeof(tWAVEFORMATEX) + UINT16_MAX;  // a record cannot say that it is longer
    const STRIFFChunk* fmt = chunks_.FindChunkForRead("fmt ");
    if (!fmt || !file_.SetPosition(fmt->FileDataPosition)) return;
    std::vector<uint8_t> bytes(static_cast<size_t>(std::min(fmt->DataSize, kLargest)));
    if (file_.Read(bytes.data(), bytes.size()) < bytes.size()) return;
    format_.emplace(bytes.data(), static_cast<unsigned>(bytes.size()));
}

int64_t Wave64File::MissingBytes() {
    const STRIFFChunk* last = chunks_.GetChunk(chunks_.Count() - 1);
    return last ? std::max<int64_t>(last->FileDataPosition + last->DataSize - FileBytes(), 0) : 0;
}

bool Wave64File::IsWhole() const {
    const int64_t unpadded = chunks_.RiffSize() - FileBytes();  // some writers leave out the last padding
    return unpadded >= 0 && unpadded < 8 && channels_.Errors().empty();
}
