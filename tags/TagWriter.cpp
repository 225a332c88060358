#include "tags/TagWriter.h"

#include "base/LittleEndian.h"
#include "interface/StdReport.h"
#include "settings/XRegistry.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace w64 {

bool TagWriter::Edit(const XStr& fileName, TagEdit edit, NTag& tags) {
    if (!OpenFile(fileName)) return false;
    options_ = TaggingOptions::Read();
    if (!options_.usable) {
        return Fail(L"Error the file is left as it is, the settings in '" + XRegistry::RegFileLocation() +
                    L"' cannot be read; if no other program is using them, repair or delete them.");
    }
    const bool safe = options_.rules.safe;
    chunks_.SetRules(options_.rules);
    if (!chunks_.Initialize(file_.Handle(), report_)) return !safe;
    if ((safe && !chunks_.LayoutFault().empty()) || chunks_.IsScanLimited()) {
        return Fail(L"Error the file is left as it is, its layout is not sound: " + chunks_.LayoutFault() +
                    L".");
    }
    lists_ = ChunkTags::ReadSummaryLists(file_, chunks_, options_, report_);
    if (edit == TagEdit::DeleteAll) return DeleteAll();
    if (safe && !lists_.areWhole) {
        return Fail(L"Error the file is left as it is, its tags cannot be read in full and would be lost.");
    }
    if (edit == TagEdit::DeleteNamed) {
        for (int i = 0; i < tags.Count(); ++i) lists_.tags.RemoveTag(tags[i].Name.c_str());
        tags = std::move(lists_.tags);
    } else {
        tags.MergeFrom(lists_.tags, false);
    }
    if (lists_.Index() < 0 && !options_.createsLists) return true;
    return WriteList(tags);
}

bool TagWriter::OpenFile(const XStr& fileName) {
    StdReport::WriteDEBUG(L"Opening file '", report_, nullptr, false);
    StdReport::WriteDEBUG(fileName, report_, nullptr, false);
    StdReport::WriteDEBUG(L"' for write access: ", report_, nullptr, false);
    if (!file_.Open(fileName, XFile::Access::ReadWrite)) {
        return Fail(L"Error opening file '" + fileName + L"' check no other program has it open.");
    }
    StdReport::WriteDEBUG(L"Opened", report_, nullptr, true);
    return true;
}

bool TagWriter::DeleteAll() {
    if (!options_.rules.safe) {
        // The exact rules keep a list that is the first chunk, and fail on a file without a list.
        const int list = lists_.Index();
        return list == 0 || chunks_.RemoveChunkFromFile(list, options_.paddingMode);
    }
    std::vector<int> all;
    for (int i = 0; i < chunks_.Count(); ++i) {
        if (CompareGUID(chunks_[i].ChunkGUID, kSummaryListCode)) all.push_back(i);
    }
    return RemoveChunks(all);
}

// From the end, so that the remaining indices stay valid.
bool TagWriter::RemoveChunks(std::span<const int> indices) {
    for (size_t i = indices.size(); i-- > 0;) {
        if (!chunks_.RemoveChunkFromFile(indices[i], options_.paddingMode)) {
            return Fail(L"Error removing the tags, disk full?");
        }
    }
    return true;
}

bool TagWriter::WriteList(const NTag& tags) {
    XMem data;
    if (!clRIFFSUMMARYLISTChunk::TagsToLIST(data, tags, report_, options_.albumOption, options_.trackOption,
                                            lists_.text)) {
        return false;
    }
    const bool safe = options_.rules.safe;
    // When the last tag goes, so do all lists, even those without tags.
    if (safe && data.IsEmpty() && lists_.Index() >= 0) return DeleteAll();
    const bool done = PutIntoFile(data);
    // By the exact rules a failed edit counts as success, even if it was not reported, and the lists before this
    // one stay.
    if (!safe) return true;
    if (!done) return Fail(L"Error writing the tags, disk full?");
    const std::span<const int> lists = lists_.withTags;
    return RemoveChunks(lists.first(lists.size() - std::min<size_t>(lists.size(), 1)));
}

bool TagWriter::PutIntoFile(const XMem& data) {
    const int list = lists_.Index();
    if (list < 0 && data.IsEmpty()) return true;
    XMem image;
    const size_t size = kChunkHeaderBytes + data.Size();
    if (size > UINT32_MAX || !image.Resize(size)) return false;
    base::Store(image.Data(), ConvertToGUID(kSummaryListCode));
    base::Store(image.Data() + sizeof(GUID), uint64_t{data.Size()});
    if (!data.IsEmpty()) std::memcpy(image.Data() + kChunkHeaderBytes, data.Data(), data.Size());
    const auto bytes = static_cast<uint32_t>(size);
    const int mode = options_.paddingMode;
    const int padding = options_.paddingSize;
    return list >= 0 ? chunks_.ResizeExistingChunkOnFile(list, image.Data(), bytes, mode, padding)
                     : chunks_.InsertNewChunkIntoFile(IndexOfNewList(), image.Data(), bytes, mode, padding);
}

// At the end, or before the audio: in place of the first padding between format and audio, else right before the
// audio.
int TagWriter::IndexOfNewList() {
    const int data = chunks_.IndexOfDataChunk();
    if (!options_.listBeforeAudio || data < 0) return chunks_.Count();
    for (int i = chunks_.IndexOfChunk("fmt ") + 1; i < data; ++i) {
        if (chunks_.IsPadding(i)) return i;
    }
    return data;
}

bool TagWriter::Fail(const XStr& message) { return StdReport::Fail(message, report_, "IDTagWriter"); }

}  // namespace w64
