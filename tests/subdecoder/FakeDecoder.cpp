// A sub-decoder that shows what it was given: audio is the packets with every bit turned, as 8-bit mono at
// 16 kHz. FAKE_... definitions choose what it lacks or does wrong.

#include "plugin/interface/w64_decoder.h"

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

[[maybe_unused]] bool knowsItsPath = false;

constexpr uint8_t kFormat[18] = {1, 0, 1, 0, 0x80, 0x3E, 0, 0, 0x80, 0x3E, 0, 0, 1, 0, 8, 0, 0, 0};

}  // namespace

FAKE_EXPORT void* Create(STNStdReport*) {
#ifdef FAKE_CREATES_NOTHING
    return nullptr;
#else
    return new Instance;
#endif
}

FAKE_EXPORT int32_t Destroy(void* handle) {
    delete static_cast<Instance*>(handle);
    return 1;
}

FAKE_EXPORT int32_t Open(void*, STKvOpenDecoder* open) {
#ifdef FAKE_OPENS_NOTHING
    return 0;
#endif
#ifndef FAKE_WITHOUT_SET_MODULE_PATH
    if (!knowsItsPath) return 0;
#endif
    return open->OpenFlags == kvOpenPackets && !open->FileName;
}

FAKE_EXPORT int32_t DecodeBlock(void* handle, STKvAudioBlock* block) {
    auto& instance = *static_cast<Instance*>(handle);
    if (instance.handedOut) instance.audio.clear();
    instance.handedOut = false;
    const auto* packet = static_cast<const uint8_t*>(block->Data);
    for (uint32_t i = 0; i < block->DataSize; ++i) instance.audio.push_back(static_cast<uint8_t>(~packet[i]));
    ++instance.packets;
    block->Data = nullptr;
    block->DataSize = 0;
#ifdef FAKE_THROWS
    throw std::runtime_error("thrown by the sub-decoder");
#endif
#ifdef FAKE_FAILS_AT_PACKET
    if (instance.packets == FAKE_FAILS_AT_PACKET) return 0;
#endif
#ifdef FAKE_NEEDS_PACKETS
    if (instance.packets % FAKE_NEEDS_PACKETS != 0 && !block->EndOfStream) return 1;
#endif
#ifdef FAKE_IS_SILENT
    return 1;
#endif
    for (size_t i = 0; i < sizeof kFormat; ++i) block->WaveFormat.Bytes[i] = kFormat[i];
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
#ifndef FAKE_WITHOUT_DELETE_A_TAG
FAKE_EXPORT int32_t DeleteATag(void*, const wchar_t*, const wchar_t*) { return 0; }
#endif
#ifndef FAKE_WITHOUT_SET_MODULE_PATH
FAKE_EXPORT void SetModulePath(const wchar_t* path) {
    knowsItsPath = std::wstring_view(path).ends_with(L"/mp3.dll");
}
#endif
