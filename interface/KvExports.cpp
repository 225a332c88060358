// The nine functions that a host calls, the same for every plug-in of the family.

#include "interface/KvDecoder.h"
#include "interface/StdReport.h"

#include <exception>
#include <new>
#include <type_traits>

#define KV_EXPORT extern "C" __attribute__((visibility("default")))

using w64::KvDecoder;
using w64::StdReport;

namespace {

// The report itself can fail when memory has run out.
void ReportException(const KvDecoder& decoder, const std::exception* exception,
                     const char* functionName) noexcept {
    try {
        const bool isOfMemory = dynamic_cast<const std::bad_alloc*>(exception);
        StdReport::WriteERROR(isOfMemory ? L"Error Allocating Memory."
                                         : L"Error exception: " +
                                               w64::Widen(exception ? exception->what() : "unknown"),
                              decoder.Report(), functionName);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

// Calls the instance that `handle` points to; a null handle or an exception gives 0.
template <class Method>
int32_t Forward(void* handle, const char* functionName, const Method& method) {
    if (!handle) return 0;
    auto& decoder = *static_cast<KvDecoder*>(handle);
    try {
        return method(decoder) ? 1 : 0;
    } catch (const std::exception& exception) {
        ReportException(decoder, &exception, functionName);
    } catch (...) {
        ReportException(decoder, nullptr, functionName);
    }
    return 0;
}

}  // namespace

KV_EXPORT void* Create(STNStdReport* report) {
    return w64::NewDecoder(report ? *report : STNStdReport{}).release();
}

KV_EXPORT int32_t Destroy(void* handle) {
    delete static_cast<KvDecoder*>(handle);
    return 1;
}

KV_EXPORT int32_t Open(void* handle, STKvOpenDecoder* open) {
    return Forward(handle, "Open", [=](KvDecoder& decoder) { return open && decoder.Open(*open); });
}

KV_EXPORT int32_t Close(void* handle, STKvEncoderFluid* fluid) {
    return Forward(handle, "Close", [=](KvDecoder& decoder) { return decoder.Close(fluid); });
}

KV_EXPORT int32_t DecodeBlock(void* handle, STKvAudioBlock* block) {
    return Forward(handle, "DecodeBlock",
                   [=](KvDecoder& decoder) { return block && decoder.DecodeBlock(*block); });
}

KV_EXPORT int32_t SetPosition(void* handle, int64_t frame) {
    return Forward(handle, "SetPosition", [=](KvDecoder& decoder) { return decoder.SetPosition(frame); });
}

KV_EXPORT int32_t Get(void* handle, const wchar_t* key, STKvCodecGetSet* record) {
    return Forward(handle, "Get",
                   [=](KvDecoder& decoder) { return key && record && decoder.Get(key, *record); });
}

KV_EXPORT int32_t Set(void* handle, const wchar_t* key, STKvCodecGetSet* record) {
    return Forward(handle, "Set",
                   [=](KvDecoder& decoder) { return key && record && decoder.Set(key, *record); });
}

KV_EXPORT int32_t DeleteATag(void* handle, const wchar_t* file, const wchar_t* names) {
    return Forward(handle, "DeleteATag", [=](KvDecoder& decoder) { return decoder.DeleteATag(file, names); });
}

// Hosts cast the symbols to these types.
static_assert(std::is_same_v<decltype(&Create), KvCreateFn>);
static_assert(std::is_same_v<decltype(&Destroy), KvDestroyFn>);
static_assert(std::is_same_v<decltype(&Open), KvOpenFn>);
static_assert(std::is_same_v<decltype(&Close), KvCloseFn>);
static_assert(std::is_same_v<decltype(&DecodeBlock), KvDecodeBlockFn>);
static_assert(std::is_same_v<decltype(&SetPosition), KvSetPositionFn>);
static_assert(std::is_same_v<decltype(&Get), KvGetFn>);
static_assert(std::is_same_v<decltype(&Set), KvSetFn>);
static_assert(std::is_same_v<decltype(&DeleteATag), KvDeleteATagFn>);
