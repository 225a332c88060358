// The nine functions that a host calls, and the module handle that it may store.

#include "plugin/clDecoder.h"
#include "plugin/interface/StdReport.h"

#include <exception>

#define W64_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Memory may be what has run out, so even the report of it can fail.
void ReportException(const clDecoder& decoder, const char* what, const char* functionName) noexcept {
    try {
        StdReport::WriteERROR(L"Error exception: " + Widen(what), decoder.Report(), functionName);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

// Calls the instance behind `handle`; whatever goes wrong becomes 0.
template <class Method>
int32_t Forward(void* handle, const char* functionName, const Method& method) {
    if (!handle) return 0;
    auto& decoder = *static_cast<clDecoder*>(handle);
    try {
        return method(decoder) ? 1 : 0;
    } catch (const std::exception& exception) {
        ReportException(decoder, exception.what(), functionName);
    } catch (...) {
        ReportException(decoder, "unknown", functionName);
    }
    return 0;
}

}  // namespace

W64_EXPORT void* gInstance;
void* gInstance = nullptr;

W64_EXPORT void* Create(STNStdReport* report) { return new clDecoder(report ? *report : STNStdReport{}); }

W64_EXPORT int32_t Destroy(void* handle) {
    delete static_cast<clDecoder*>(handle);
    return 1;
}

W64_EXPORT int32_t Open(void* handle, STKvOpenDecoder* open) {
    return Forward(handle, "Open", [=](clDecoder& decoder) { return open && decoder.Open(*open); });
}

W64_EXPORT int32_t Close(void* handle, STKvEncoderFluid* fluid) {
    return Forward(handle, "Close", [=](clDecoder& decoder) { return fluid && decoder.Close(*fluid); });
}

W64_EXPORT int32_t DecodeBlock(void* handle, STKvAudioBlock* block) {
    return Forward(handle, "DecodeBlock",
                   [=](clDecoder& decoder) { return block && decoder.DecodeBlock(*block); });
}

W64_EXPORT int32_t SetPosition(void* handle, int64_t frame) {
    return Forward(handle, "SetPosition", [=](clDecoder& decoder) { return decoder.SetPosition(frame); });
}

W64_EXPORT int32_t Get(void* handle, const wchar_t* key, STKvCodecGetSet* record) {
    return Forward(handle, "Get",
                   [=](clDecoder& decoder) { return key && record && decoder.Get(key, *record); });
}

W64_EXPORT int32_t Set(void* handle, const wchar_t* key, STKvCodecGetSet* record) {
    return Forward(handle, "Set",
                   [=](clDecoder& decoder) { return key && record && decoder.Set(key, *record); });
}

W64_EXPORT int32_t DeleteATag(void* handle, const wchar_t* file, const wchar_t* names) {
    return Forward(handle, "DeleteATag",
                   [=](clDecoder& decoder) { return file && decoder.DeleteATag(file, names); });
}
