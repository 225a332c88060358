#include "tags/ChunkTags.h"

#include "base/LittleEndian.h"
#include "plugin/interface/StdReport.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>

namespace {

bool IsAnyOf(const GUID& guid, std::initializer_list<std::string_view> codes) {
    return std::ranges::any_of(codes, [&](auto code) { return CompareGUID(guid, RIFFChnkID(code)); });
}

int64_t PayloadBytes(const STRIFFChunk& chunk) {
    return IsAnyOf(chunk.ChunkGUID, {"FMT ", "DATA"}) ? 0 : chunk.DataSize;
}

// The four-character code of a chunk and its data; false when it cannot be read.
bool ReadRawChunk(const STRIFFChunk& chunk, XMem& raw, XFile& file, const STNStdReport& report) {
    const auto code = RIFFChnkID(RIFFChnkGUID2CHR(chunk.ChunkGUID));
    if (!ChunkTags::ReadFileIntoMemory(raw, sizeof code, static_cast<uint32_t>(PayloadBytes(chunk)),
                                       chunk.FileDataPosition, file, report)) {
        return false;
    }
    Store(raw.Data(), code);
    return true;
}

// What can be shown of binary data on one line.
XStr DescribeData(const XMem& data) {
    constexpr size_t kShown = 20;
    XStr text = L"DATA Length: " + Int2Str(data.Size()) + L"   ";
    for (size_t i = 0; i < std::min(data.Size(), kShown); ++i) {
        const uint8_t byte = data.Data()[i];
        text += byte >= 32 && byte <= 126 ? static_cast<wchar_t>(byte) : L'.';
    }
    return text;
}

}  // namespace

void ChunkTags::ReadSummaryLists(XFile& file, clWave64Handler& handler, NTag& tags, int& listIndex,
                                 TaggingOptions& options, const STNStdReport& report) {
    listIndex = -1;
    tags.Destroy();
    const LISTText newLists = options.rules.text;
    for (int i = 0; i < handler.Count(); ++i) {
        NTag listed;
        LISTText text = newLists;
        if (!ReadSummaryList(handler[i], file, listed, options.albumOption, text, report)) continue;
        listIndex = i;
        options.rules.text = text;
        tags.MergeFrom(listed, false);
    }
}

bool ChunkTags::ReadSummaryList(const STRIFFChunk& chunk, XFile& file, NTag& tags, int albumOption,
                                LISTText& text, const STNStdReport& report) {
    XMem data;
    const auto bytes = static_cast<uint32_t>(chunk.DataSize);
    return chunk.DataSize != 0 && CompareGUID(chunk.ChunkGUID, kSummaryListCode) &&
           ReadFileIntoMemory(data, 0, bytes, chunk.FileDataPosition, file, report) &&
           clRIFFSUMMARYLISTChunk::InitFrom(data.Data(), bytes, tags, report, albumOption, text);
}

bool ChunkTags::AreListsWhole(XFile& file, clWave64Handler& handler, const STNStdReport& report) {
    for (int i = 0; i < handler.Count(); ++i) {
        const STRIFFChunk& chunk = handler[i];
        if (!CompareGUID(chunk.ChunkGUID, kSummaryListCode)) continue;
        XMem data;
        const auto bytes = static_cast<uint32_t>(chunk.DataSize);
        if (!ReadFileIntoMemory(data, 0, bytes, chunk.FileDataPosition, file, report) ||
            !clRIFFSUMMARYLISTChunk::IsWhole(data.Data(), bytes)) {
            return false;
        }
    }
    return true;
}

void ChunkTags::AppendRawChunks(XFile& file, clWave64Handler& handler, int listIndex, NTag& tags,
                                const STNStdReport& report) {
    constexpr int64_t kMostBytes =
        INT32_MAX / 2;  // of all, as a packed block has sizes of 32 bits with a sign
    int64_t bytes = 0;
    int serial = 1;
    for (int i = 0; i < handler.Count(); ++i) {
        const STRIFFChunk& chunk = handler[i];
        if (i == listIndex || IsAnyOf(chunk.ChunkGUID, {"ds64", "FACT", "JUNK", "PAD "})) continue;
        const int64_t payload = PayloadBytes(chunk);
        const bool isThere = payload <= file.Size() - chunk.FileDataPosition;
        if (payload > (isThere ? kMostBytes - bytes : UINT32_MAX)) continue;
        STInternalTag tag;
        if (!ReadRawChunk(chunk, tag.Data, file, report)) continue;
        bytes += payload;
        tag.Name = L"_riff_" + Int2Str(serial++);
        tags.AddTag(std::move(tag));
    }
}

void ChunkTags::Trace(const NTag& tags, const STNStdReport& report) {
    StdReport::WriteDEBUG(Int2Str(tags.Count()), report, nullptr, false);
    StdReport::WriteDEBUG(L" ID Tags:", report, nullptr, true);
    if (!StdReport::HasOutput(report.Debug)) return;
    for (int i = 0; i < tags.Count(); ++i) {
        const STInternalTag& tag = tags[i];
        const XStr text = tag.Value.empty() ? DescribeData(tag.Data) : tag.Value;
        StdReport::WriteDEBUG(tag.Name + L": " + text, report, nullptr, true, L"\t\t\t");
    }
}

bool ChunkTags::ReadFileIntoMemory(XMem& buffer, size_t skip, uint32_t bytes, int64_t offset, XFile& file,
                                   const STNStdReport& report) {
    constexpr const char* name = "ReadFileIntoMemory";
    if (!file.SetPosition(offset)) {
        StdReport::WriteERROR(L"Error SetPosition returned false.", report, name);
        return false;
    }
    const bool isThere = bytes == 0 || file.Size() - offset >= int64_t{bytes};
    if (isThere && !buffer.Resize(skip + bytes)) return false;
    if (!isThere || file.Read(buffer.Data() + skip, bytes) < bytes) {
        StdReport::WriteERROR(L"Error cannot reading chunk from file.", report, name);
        return false;
    }
    return true;
}
