#include "plugin/clDecoder.h"

#include "interface/StdReport.h"
#include "plugin/TagOptions.h"

#include <new>
#include <string_view>

namespace w64 {

bool clDecoder::Open(STKvOpenDecoder& open) {
    constexpr const char* name = "Open";
    StdReport::WriteDEBUG(L"->->", report_, name, true);
    if (open.OpenFlags & kvOpenPackets) {
        return StdReport::Fail(L"Error cannot decode external-packet data.", report_, name);
    }
    const XStr fileName = open.FileName ? open.FileName : L"";
    StdReport::WriteDEBUG(L"Opening file '", report_, nullptr, false);
    StdReport::WriteDEBUG(fileName, report_, nullptr, false);
    StdReport::WriteDEBUG(L"' for read access: ", report_, nullptr, false);
    if (!open.FileName || !file_.Open(fileName, XFile::Access::Read)) {
        return StdReport::Fail(L"Error opening file '" + fileName + L"' check no other program has it open.",
                               report_, name);
    }
    StdReport::WriteDEBUG(L"Opened", report_, nullptr, true);

    StdReport::WriteDEBUG(L"Reading Audio Information", report_, nullptr, true);
    if (!engine_.Initialize(file_.Handle(), report_, rangeStart_, rangeEnd_)) return false;
    StdReport::WriteDEBUG(L"Read Audio Information", report_, nullptr, true);

    if (open.OpenFlags & (kvOpenTags | kvOpenProperties)) ReadTagsAndProperties(open);
    if (open.OpenFlags & (kvOpenAudioInfo | kvOpenDecode)) {
        StdReport::WriteDEBUG(L"Writing Audio Information", report_, nullptr, true);
        if (!engine_.FillAudioInfo(open.AudioInfo)) return false;
        StdReport::WriteDEBUG(L"Written Audio Information", report_, nullptr, true);
    }
    if (open.OpenFlags & kvOpenDecode) {
        StdReport::WriteDEBUG(L"Preparing to Decode", report_, nullptr, true);
        if (!engine_.PrepareToDecodeAudio(open.AudioInfo)) return false;
        StdReport::WriteDEBUG(L"Prepared Decoding", report_, nullptr, true);
    }
    StdReport::WriteDEBUG(L"<-<-", report_, name, true);
    return true;
}

// The audio does not depend on them, so a failure here only leaves their fields unchanged.
void clDecoder::ReadTagsAndProperties(STKvOpenDecoder& open) {
    try {
        XStr tagDescription;
        const XMem* tags = engine_.ReadIDTags(tagDescription);
        if (tags && open.OpenFlags & kvOpenTags) {
            open.TagData = const_cast<uint8_t*>(tags->Data());
            open.TagDataSize = static_cast<uint32_t>(tags->Size());
        }
        if (!(open.OpenFlags & kvOpenProperties)) return;
        if (const XMem* properties = engine_.FillAudioProps(tagDescription)) {
            open.Properties = const_cast<uint8_t*>(properties->Data());
            open.PropertiesSize = static_cast<uint32_t>(properties->Size());
        }
    } catch (const std::bad_alloc&) {
        StdReport::WriteERROR(L"Error Allocating Memory.", report_, "Open");
    }
}

bool clDecoder::Close(STKvEncoderFluid* fluid) {
    StdReport::WriteDEBUG(L"->->", report_, "Close", true);
    engine_.Close(fluid);
    file_.Close();
    StdReport::WriteDEBUG(L"<-<-", report_, "Close", true);
    return true;
}

bool clDecoder::SetPosition(int64_t frame) {
    StdReport::WriteDEBUG(L"->->", report_, "SetPosition", true);
    if (!engine_.SetPosition(frame)) return false;
    StdReport::WriteDEBUG(L"<-<-", report_, "SetPosition", true);
    return true;
}

bool clDecoder::Get(const wchar_t* key, STKvCodecGetSet& record) {
    StdReport::WriteDEBUG(key, report_, "Get", true);
    const std::wstring_view asked = key;
    if (asked == kvGetTagOptions) return GetTagOption(record);
    if (asked == kvGetDecodes) {
        if (record.Index != 0) return false;
        answer1_ = L".w64";
        answer2_ = L"Wave64";
        record.Text2 = answer2_.c_str();
    } else if (asked == kvGetDescription) {
        answer1_ = L"Wave64 Decoder";
    } else if (asked == kvGetPropertyElements) {
        answer1_ =
            L"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\rSample Count\r"
            L"Gapless\rID Tag\rContains";
    } else if (asked == kvGetDefaultProperties) {
        answer1_ = L"Audio Quality\rEncoder Settings\rContains";
    } else {
        return false;
    }
    record.Text1 = answer1_.c_str();
    return true;
}

bool clDecoder::GetTagOption(STKvCodecGetSet& record) {
    const TagOption* option = FindTagOption(record.Index);
    answer1_ = option ? option->Title : L"";
    answer2_ = option ? option->SettingsKey : L"";
    answer3_ = option ? option->DisplayText(record.Value) : L"";
    record.Text1 = answer1_.c_str();
    record.Text2 = answer2_.c_str();
    record.Text3 = answer3_.c_str();
    return !answer1_.empty() && !answer2_.empty() && !answer3_.empty();
}

bool clDecoder::Set(const wchar_t* key, const STKvCodecGetSet& record) {
    StdReport::WriteDEBUG(key, report_, "Set", true);
    const std::wstring_view asked = key;
    if (asked == kvSetTags) {
        return clWaveDecoder::WriteIDTags(record.Text1, record.TagData, record.Value, report_);
    }
    if (asked != kvSetDecodeRange) return false;
    rangeStart_ = record.RangeStart;
    rangeEnd_ = record.RangeEnd;
    return true;
}

bool clDecoder::DeleteATag(const wchar_t* fileName, const wchar_t* names) {
    constexpr size_t kMaxCharacters = 2'000'000'000;
    StdReport::WriteDEBUG(L"->->", report_, "DeleteATag", true);
    const bool deleteAll = !names || names[0] == L'\0';
    XStrList list;
    if (!deleteAll) list.SetFromPackedCharArray(names, L'\0', kMaxCharacters);
    const bool done = clWaveDecoder::DeleteTags(fileName ? fileName : L"", list, deleteAll, report_);
    StdReport::WriteDEBUG(L"<-<-", report_, "DeleteATag", true);
    return done;
}

}  // namespace w64
