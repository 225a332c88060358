#include "tags/ChunkTags.h"

#include "base/LittleEndian.h"
#include "base/Saturating.h"
#include "interface/StdReport.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>

namespace w64 {

namespace {

bool IsAnyOf(const GUID& guid, std::initializer_list<std::string_view> codes) {
    return std::ranges::any_of(codes, [&](auto code) { return CompareGUID(guid, RIFFChnkID(code)); });
}

int64_t PayloadBytes(const STRIFFChunk& chunk) {
    return IsAnyOf(chunk.ChunkGUID, {"FMT ", "DATA"}) ? 0 : chunk.DataSize;
}

// Reads the four-character code of a chunk and its data; false on failure.
bool ReadRawChunk(const STRIFFChunk& chunk, XMem& raw, XFile& file, const STNStdReport& report) {
    const auto code = RIFFChnkID(RIFFChnkGUID2CHR(chunk.ChunkGUID));
    if (!ChunkTags::ReadFileIntoMemory(raw, sizeof code, PayloadBytes(chunk), chunk.FileDataPosition, file,
                                       report)) {
        return false;
    }
    base::Store(raw.Data(), code);
    return true;
}

// Size of a packed block, its count included.
int64_t PackedBytes(const NTag& tags) {
    int64_t bytes = sizeof(uint32_t);
    for (int i = 0; i < tags.Count(); ++i) bytes += tags.GetRawTagItemSize(i);
    return bytes;
}

// The length and first bytes of binary data, on one line.
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

SummaryLists ChunkTags::ReadSummaryLists(XFile& file, clWave64Handler& handler, const TaggingOptions& options,
                                         const STNStdReport& report) {
    SummaryLists lists;
    lists.text = options.text;
    for (int i = 0; i < handler.Count(); ++i) {
        if (!IsSummaryList(handler[i])) continue;
        NTag listed;
        XMem data;
        LISTText text = options.text;
        const bool isRead = ReadSummaryList(handler[i], file, data, report);
        const auto bytes = static_cast<unsigned>(data.Size());
        const bool isWhole = isRead && handler[i].DataSize == bytes;
        if (!isWhole || !clRIFFSUMMARYLISTChunk::IsWhole(data.Data(), bytes)) lists.areWhole = false;
        if (!isRead || !clRIFFSUMMARYLISTChunk::InitFrom(data.Data(), bytes, listed, report,
                                                         options.albumOption, text)) {
            continue;
        }
        lists.withTags.push_back(i);
        lists.text = text;
        lists.tags.MergeFrom(listed, false);
    }
    return lists;
}

bool ChunkTags::IsSummaryList(const STRIFFChunk& chunk) {
    return chunk.DataSize != 0 && CompareGUID(chunk.ChunkGUID, kSummaryListCode);
}

bool ChunkTags::ReadSummaryList(const STRIFFChunk& list, XFile& file, XMem& data,
                                const STNStdReport& report) {
    return ReadFileIntoMemory(data, 0, static_cast<uint32_t>(list.DataSize), list.FileDataPosition, file,
                              report);
}

void ChunkTags::AppendRawChunks(XFile& file, clWave64Handler& handler, int listIndex, NTag& tags,
                                const STNStdReport& report) {
    constexpr int64_t kItemBytes = 64;             // upper bound of a raw chunk's overhead
    int64_t left = INT32_MAX - PackedBytes(tags);  // sizes of items and blocks are signed 32-bit
    bool isTold = false;
    int serial = 1;
    for (int i = 0; i < handler.Count(); ++i) {
        const STRIFFChunk& chunk = handler[i];
        if (i == listIndex || IsAnyOf(chunk.ChunkGUID, {"ds64", "FACT", "JUNK", "PAD "})) continue;
        const int64_t bytes = SaturatingAdd(PayloadBytes(chunk), kItemBytes);
        const bool isThere = PayloadBytes(chunk) <= file.Size() - chunk.FileDataPosition;
        if (isThere && bytes > left) {
            if (!isTold) {
                StdReport::WriteINFO(L"Chunks that do not fit into 2 GiB of tags are left out of them.",
                                     report, "ReadIDTags");
            }
            isTold = true;
            continue;
        }
        STInternalTag tag;
        if (!ReadRawChunk(chunk, tag.Data, file, report)) continue;
        left -= bytes;
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

bool ChunkTags::ReadFileIntoMemory(XMem& buffer, size_t skip, int64_t bytes, int64_t offset, XFile& file,
                                   const STNStdReport& report) {
    constexpr const char* name = "ReadFileIntoMemory";
    if (!file.SetPosition(offset)) {
        return StdReport::Fail(L"Error SetPosition returned false.", report, name);
    }
    const auto size = static_cast<size_t>(bytes);
    const bool isThere = bytes == 0 || file.Size() - offset >= bytes;
    if (isThere && !buffer.Resize(skip + size)) return false;
    if (!isThere || file.Read(buffer.Data() + skip, size) < size) {
        return StdReport::Fail(L"Error cannot reading chunk from file.", report, name);
    }
    return true;
}

}  // namespace w64
