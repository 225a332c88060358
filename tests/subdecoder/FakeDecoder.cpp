// A sub-decoder that shows what it was given: audio is the packets with every bit turned, as 8-bit mono at
// 16 kHz. What it lacks or does wrong goes by its name.

#include "interface/w64_decoder.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <vector>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

struct Instance {
    std::vector<uint8_t> audio;
    int packets = 0;
    bool handedOut = false;
};

constexpr std::string_view kName = FAKE_NAME;
constexpr uint8_t kFormat[18] = {1, 0, 1, 0, 0x80, 0x3E, 0, 0, 0x80, 0x3E, 0, 0, 1, 0, 8, 0, 0, 0};

bool knowsItsPath = kName == "without_set_module_path";

}  // namespace

FAKE_EXPORT void* Create(STNStdReport*) { return kName == "failing_create" ? nullptr : new Instance; }

FAKE_EXPORT int32_t Destroy(void* handle) {
    delete static_cast<Instance*>(handle);
    return 1;
}

FAKE_EXPORT int32_t Open(void*, STKvOpenDecoder* open) {
    return knowsItsPath && open->OpenFlags == kvOpenPackets && !open->FileName;
}

FAKE_EXPORT int32_t DecodeBlock(void* handle, STKvAudioBlock* block) {
    if (kName == "throwing") throw std::runtime_error("thrown by the sub-decoder");
    auto& instance = *static_cast<Instance*>(handle);
    if (instance.handedOut) instance.audio.clear();
    instance.handedOut = false;
    const auto* packet = static_cast<const uint8_t*>(block->Data);
    for (uint32_t i = 0; i < block->DataSize; ++i) instance.audio.push_back(static_cast<uint8_t>(~packet[i]));
    ++instance.packets;
    block->Data = nullptr;
    block->DataSize = 0;
    if (kName == "failing_later" && instance.packets == 2) return 0;
    const bool wantsMore = kName == "several_packets" && instance.packets % 3 != 0 && !block->EndOfStream;
    if (kName == "silent" || wantsMore) return 1;
    std::copy(std::begin(kFormat), std::end(kFormat), block->WaveFormat.Bytes);
    block->Data = instance.audio.data();
    block->DataSize = static_cast<uint32_t>(instance.audio.size());
    instance.handedOut = true;
    return 1;
}

FAKE_EXPORT int32_t Close(void*, STKvEncoderFluid* fluid) {
    *reinterpret_cast<char*>(fluid) = 'c';
    return 1;
}
FAKE_EXPORT int32_t SetPosition(void*, int64_t) { return 1; }
FAKE_EXPORT int32_t Get(void*, const wchar_t*, STKvCodecGetSet*) { return 0; }
FAKE_EXPORT int32_t Set(void*, const wchar_t*, STKvCodecGetSet*) { return 0; }
#ifndef FAKE_without_delete_a_tag
FAKE_EXPORT int32_t DeleteATag(void*, const wchar_t*, const wchar_t*) { return 0; }
#endif
#ifndef FAKE_without_set_module_path
FAKE_EXPORT void SetModulePath(const wchar_t* path) {
    knowsItsPath = std::wstring_view(path).ends_with(L"/mp3.dll");
}
#endif
