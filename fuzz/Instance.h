#pragma once

#include "Input.h"
#include "interface/StdReport.h"
#include "interface/w64_decoder.h"

#include <cwchar>
#include <fcntl.h>
#include <string>

// Those of the plug-in that is linked.
extern "C" {
void* Create(STNStdReport*);
int32_t Destroy(void*);
int32_t Open(void*, STKvOpenDecoder*);
int32_t Close(void*, STKvEncoderFluid*);
int32_t DecodeBlock(void*, STKvAudioBlock*);
int32_t SetPosition(void*, int64_t);
int32_t Get(void*, const wchar_t*, STKvCodecGetSet*);
int32_t Set(void*, const wchar_t*, STKvCodecGetSet*);
int32_t DeleteATag(void*, const wchar_t*, const wchar_t*);
}

namespace w64 {

// Calls that fail leave the trace indented, and all later lines would become longer and longer.
inline void ResetTrace() {
    for (int levels = 1000; levels > 0; --levels) StdReport::WriteDEBUG(L"<-<-", {}, nullptr, true);
}

// Often one that a short recording has.
inline int64_t AnyFrame(Input& in) {
    return in.Byte() % 2 == 0 ? in.Number<int16_t>() : in.Number<int64_t>();
}

// An instance of the plug-in, as a host uses it that reads all it is given.
class Instance {
public:
    explicit Instance(bool traced = false) {
        static const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        STNStdReport report{};
        if (traced) report = {nowhere, nowhere, nowhere};
        handle_ = ::Create(&report);
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;
    ~Instance() { ::Destroy(handle_); }

    int32_t Open(const std::wstring& name, uint32_t flags) {
        open = {};
        open.FileName = name.c_str();
        open.OpenFlags = flags;
        const int32_t done = ::Open(handle_, &open);
        Touch(open.TagData, open.TagDataSize);
        Touch(open.Properties, open.PropertiesSize);
        return done;
    }

    // The audio of one call; `packet` is what a decoder of packets gets.
    int32_t Decode(Bytes& audio, Bytes packet = {}, bool isLast = false) {
        block = {};
        block.Data = packet.empty() ? nullptr : packet.data();
        block.DataSize = static_cast<uint32_t>(packet.size());
        block.EndOfStream = isLast;
        if (!::DecodeBlock(handle_, &block)) return 0;
        const auto* data = static_cast<const uint8_t*>(block.Data);
        if (data) audio.insert(audio.end(), data, data + block.DataSize);
        return 1;
    }

    int32_t SetRange(int64_t start, int64_t end) {
        STKvCodecGetSet record{};
        record.RangeStart = start;
        record.RangeEnd = end;
        return ::Set(handle_, kvSetDecodeRange, &record);
    }

    int32_t WriteTags(const std::wstring& name, Bytes tags) {
        STKvCodecGetSet record{};
        record.Text1 = name.c_str();
        record.TagData = tags.data();
        record.Value = static_cast<int32_t>(tags.size());
        return ::Set(handle_, kvSetTags, &record);
    }

    int32_t DeleteTags(const std::wstring& name, const std::wstring& names) {
        return ::DeleteATag(handle_, name.c_str(), names.c_str());
    }

    int32_t Ask(const wchar_t* key, int32_t index, int32_t value) {
        STKvCodecGetSet record{};
        record.Index = index;
        record.Value = value;
        const int32_t done = ::Get(handle_, key, &record);
        for (const wchar_t* text : {record.Text1, record.Text2, record.Text3}) {
            if (text) Touch(text, sizeof(wchar_t) * std::wcslen(text));
        }
        return done;
    }

    int32_t GoTo(int64_t frame) { return ::SetPosition(handle_, frame); }
    int32_t Close() { return ::Close(handle_, nullptr); }

    STKvOpenDecoder open{};
    STKvAudioBlock block{};

private:
    void* handle_ = nullptr;
};

}  // namespace w64
