#include "tags/TagWriter.h"

#include "base/LittleEndian.h"
#include "plugin/interface/StdReport.h"
#include "tags/ChunkTags.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <cstring>

bool TagWriter::Edit(const XStr& fileName, TagEdit edit, NTag& tags) {
    if (!OpenFile(fileName)) return false;
    options_ = TaggingOptions::Read();
    const bool safe = options_.rules.safe;
    chunks_.SetRules(options_.rules);
    if (!chunks_.Initialize(file_.Handle(), report_)) return !safe;
    if (safe && !chunks_.LayoutFault().empty()) {
        return Fail(L"Error the file is left as it is, its layout is not sound: " + chunks_.LayoutFault() +
                    L".");
    }
    ReadExisting();
    if (edit == TagEdit::DeleteAll) return DeleteAll();
    if (safe && !ChunkTags::AreListsWhole(file_, chunks_, report_)) {
        return Fail(L"Error the file is left as it is, its tags are damaged and would be lost.");
    }
    if (edit == TagEdit::DeleteNamed) {
        for (int i = 0; i < tags.Count(); ++i) existing_.RemoveTag(tags[i].Name.c_str());
        tags = std::move(existing_);
    } else {
        tags.MergeFrom(existing_, false);
    }
    if (listIndex_ < 0 && !options_.createsLists) return true;
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

void TagWriter::ReadExisting() {
    ChunkTags::ReadSummaryLists(file_, chunks_, existing_, listIndex_, options_, report_);
}

bool TagWriter::DeleteAll() {
    if (!options_.rules.safe) {
        // By old custom a list in the first place stays, and a file without one is a failure.
        return listIndex_ == 0 || chunks_.RemoveChunkFromFile(listIndex_, options_.paddingMode);
    }
    return DeleteListsBefore(chunks_.Count(), false);
}

// From the end, as what stands before a removed chunk keeps its index.
bool TagWriter::DeleteListsBefore(int end, bool onlyWithTags) {
    for (int i = end - 1; i >= 0; --i) {
        const bool goes =
            onlyWithTags ? HasTags(chunks_[i]) : CompareGUID(chunks_[i].ChunkGUID, kSummaryListCode);
        if (goes && !chunks_.RemoveChunkFromFile(i, options_.paddingMode)) {
            return Fail(L"Error removing the tags, disk full?");
        }
    }
    return true;
}

bool TagWriter::HasTags(const STRIFFChunk& chunk) {
    NTag listed;
    LISTText text = options_.rules.text;
    return ChunkTags::ReadSummaryList(chunk, file_, listed, options_.albumOption, text, report_);
}

bool TagWriter::WriteList(const NTag& tags) {
    XMem data;
    if (!clRIFFSUMMARYLISTChunk::TagsToLIST(data, tags, report_, options_.albumOption, options_.trackOption,
                                            options_.rules.text)) {
        return false;
    }
    const bool done = PutIntoFile(data);
    // By old custom an edit that failed counts as done, even where the report is silent about it, and a list before
    // this one still has its say.
    if (!options_.rules.safe) return true;
    return done ? DeleteListsBefore(listIndex_, true) : Fail(L"Error writing the tags, disk full?");
}

bool TagWriter::PutIntoFile(const XMem& data) {
    if (listIndex_ < 0 && data.IsEmpty()) return true;
    XMem image;
    const size_t size = kChunkHeaderBytes + data.Size();
    if (size > UINT32_MAX || !image.Resize(size)) return false;
    Store(image.Data(), ConvertToGUID(kSummaryListCode));
    Store(image.Data() + sizeof(GUID), uint64_t{data.Size()});
    if (!data.IsEmpty()) std::memcpy(image.Data() + kChunkHeaderBytes, data.Data(), data.Size());
    const auto bytes = static_cast<uint32_t>(size);
    const int mode = options_.paddingMode;
    const int padding = options_.paddingSize;
    return listIndex_ >= 0
               ? chunks_.ResizeExistingChunkOnFile(listIndex_, image.Data(), bytes, mode, padding)
               : chunks_.InsertNewChunkIntoFile(IndexOfNewList(), image.Data(), bytes, mode, padding);
}

// At the end, or before the audio: in place of the first padding there, else right before it.
int TagWriter::IndexOfNewList() {
    const int data = chunks_.IndexOfDataChunk();
    if (!options_.listBeforeAudio || data < 0) return chunks_.Count();
    for (int i = chunks_.IndexOfChunk("fmt ") + 1; i < data; ++i) {
        if (chunks_.IsPadding(i)) return i;
    }
    return data;
}

bool TagWriter::Fail(const XStr& message) {
    StdReport::WriteERROR(message, report_, "IDTagWriter");
    return false;
}
