#pragma once

#include "interface/w64_decoder.h"

#include <memory>

namespace w64 {

// The object that an instance handle points to; the exported functions (KvExports.cpp) call it.
// Errors: a method may throw; the exported function then reports an error and returns 0.
class KvDecoder {
public:
    KvDecoder() = default;
    KvDecoder(const KvDecoder&) = delete;
    KvDecoder& operator=(const KvDecoder&) = delete;
    virtual ~KvDecoder() = default;

    virtual bool Open(STKvOpenDecoder& open) = 0;
    virtual bool Close(STKvEncoderFluid* fluid) = 0;  // passed through, may be null
    virtual bool DecodeBlock(STKvAudioBlock& block) = 0;
    virtual bool SetPosition(int64_t frame) = 0;
    virtual bool Get(const wchar_t* key, STKvCodecGetSet& record) = 0;
    virtual bool Set(const wchar_t* key, const STKvCodecGetSet& record) = 0;

    // The names are NUL-terminated, and an empty one ends the list; null or an empty list means all tags. The
    // file name may be null.
    virtual bool DeleteATag(const wchar_t* fileName, const wchar_t* names) = 0;

    virtual const STNStdReport& Report() const = 0;
};

// Creates the decoder; each plug-in defines it.
std::unique_ptr<KvDecoder> NewDecoder(const STNStdReport& report);

}  // namespace w64
