// Reading and writing tags for a host.

#include "interface/StdReport.h"
#include "tags/ChunkTags.h"
#include "wave64/engine/clWaveDecoder.h"

namespace w64 {

const XMem* clWaveDecoder::ReadIDTags(XStr& chunkNames) {
    StdReport::WriteDEBUG(L"->->", report_, "ReadIDTags", true);
    tagBlock_.Clear();
    if (!PullOutFMTnDATA()) return nullptr;
    NTag tags;
    int listIndex = -1;
    if (!InternalReadTags(file_, chunks_, tags, listIndex, report_)) return nullptr;
    if (listIndex != -1) chunkNames += chunkNames.empty() ? L"SUMMARYLIST" : L" & SUMMARYLIST";
    ChunkTags::AppendRawChunks(file_, chunks_, listIndex, tags, report_);
    ChunkTags::Trace(tags, report_);
    tags.ToRawMemory(tagBlock_);
    StdReport::WriteDEBUG(L"<-<-", report_, "ReadIDTags", true);
    return &tagBlock_;
}

bool clWaveDecoder::InternalReadTags(XFile& file, clWave64Handler& handler, NTag& tags, int& listIndex,
                                     const STNStdReport& report) {
    SummaryLists lists = ChunkTags::ReadSummaryLists(file, handler, TaggingOptions::Read(), report);
    listIndex = lists.Index();
    tags = std::move(lists.tags);
    return true;
}

bool clWaveDecoder::WriteIDTags(const wchar_t* fileName, const void* block, int size,
                                const STNStdReport& report) {
    StdReport::WriteDEBUG(L"->->", report, "WriteIDTags", true);
    if (!fileName || !block || size == 0) return false;
    NTag tags;
    tags.InitFromRawMemory(static_cast<const unsigned char*>(block), size);
    if (tags.Count() == 0) return true;
    const bool done = IDTagWriter(fileName, TagEdit::Merge, tags, report);
    StdReport::WriteDEBUG(L"<-<-", report, "WriteIDTags", true);
    return done;
}

bool clWaveDecoder::DeleteTags(const wchar_t* fileName, const XStrList& names, bool deleteAll,
                               const STNStdReport& report) {
    NTag tags;
    for (const XStr& name : names) tags.AddTag(name.c_str(), L"");
    return IDTagWriter(fileName, deleteAll ? TagEdit::DeleteAll : TagEdit::DeleteNamed, tags, report);
}

bool clWaveDecoder::IDTagWriter(const wchar_t* fileName, TagEdit edit, NTag& tags,
                                const STNStdReport& report) {
    return TagWriter(report).Edit(fileName, edit, tags);
}

}  // namespace w64
