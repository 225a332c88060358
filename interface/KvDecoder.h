#pragma once

#include "interface/w64_decoder.h"

#include <memory>

namespace w64 {

// The object behind an instance handle, as the exported functions call it (KvExports.cpp).
// Errors: a method may throw; the caller of the exported function gets a line on the error channel, and 0.
class KvDecoder {
public:
    KvDecoder() = default;
    KvDecoder(const KvDecoder&) = delete;
    KvDecoder& operator=(const KvDecoder&) = delete;
    virtual ~KvDecoder() = default;

    virtual bool Open(STKvOpenDecoder& open) = 0;
    virtual bool Close(STKvEncoderFluid* fluid) = 0;  // passed on, may be null
    virtual bool DecodeBlock(STKvAudioBlock& block) = 0;
    virtual bool SetPosition(int64_t frame) = 0;
    virtual bool Get(const wchar_t* key, STKvCodecGetSet& record) = 0;
    virtual bool Set(const wchar_t* key, const STKvCodecGetSet& record) = 0;

    // Names each end in NUL, an empty one ends the list; no names mean all tags. The file name may be null too.
    virtual bool DeleteATag(const wchar_t* fileName, const wchar_t* names) = 0;

    virtual const STNStdReport& Report() const = 0;
};

// The decoder of the plug-in that is being built.
std::unique_ptr<KvDecoder> NewDecoder(const STNStdReport& report);

}  // namespace w64
