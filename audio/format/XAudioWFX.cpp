#include "audio/format/XAudioWFX.h"

#include "base/Saturating.h"

#include <cstring>
#include <new>

namespace w64 {

namespace {

constexpr uint16_t kExtensibleExtra = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(tWAVEFORMATEX);
constexpr uint32_t kNoSpeakersAssigned = 0x80000000;

constexpr uint16_t kKnownSubFormats[] = {kTagPCM, kTagFloat, kTagALaw, kTagMuLaw, kTagADPCM, kTagMPEG};

// The bits of a 14-byte record, which has no field for them.
uint16_t BitsFromBlockAlign(const tWAVEFORMATEX& record) {
    if (record.nChannels == 0) return 16;
    return static_cast<uint16_t>(record.nBlockAlign * 8 / record.nChannels);
}

}  // namespace

XAudioWFX::XAudioWFX() { Assign(nullptr, 0); }

XAudioWFX::XAudioWFX(int channels, int samplesPerSec, int bitsPerSample) {
    Assign(channels, samplesPerSec, bitsPerSample);
}

XAudioWFX::XAudioWFX(void* data, unsigned int size) { Assign(data, size); }

XAudioWFX::XAudioWFX(const tWAVEFORMATEX* record) { Assign(record); }

XAudioWFX::XAudioWFX(const WAVEFORMATEXTENSIBLE* record) {
    Assign(reinterpret_cast<const tWAVEFORMATEX*>(record));
}

XAudioWFX::XAudioWFX(const WAVEFORMAT* record) { AssignShortForm(record, sizeof *record); }

XAudioWFX::XAudioWFX(const XAudioWFX& other) { Assign(other.wfx()); }

XAudioWFX& XAudioWFX::operator=(const XAudioWFX& other) {
    Assign(other.wfx());  // leaves its own record alone
    return *this;
}

void XAudioWFX::Assign(const XAudioWFX& other) { Assign(other.wfx()); }

void XAudioWFX::Assign(int channels, int samplesPerSec, int bitsPerSample) {
    tWAVEFORMATEX record{};
    record.wFormatTag = kTagPCM;
    record.nChannels = static_cast<uint16_t>(channels);
    record.nSamplesPerSec = static_cast<uint32_t>(samplesPerSec);
    record.wBitsPerSample = static_cast<uint16_t>(bitsPerSample);
    Assign(&record);
}

void XAudioWFX::Assign(const tWAVEFORMATEX* record) {
    if (record == wfx()) return;
    if (record->cbSize != 0) {
        if (!block_.Assign(record, sizeof *record + record->cbSize)) throw std::bad_alloc();
        inBlock_ = true;
    } else {
        plain_ = *record;
        inBlock_ = false;
    }
    CompleteDerivedFields();
}

void XAudioWFX::Assign(void* data, unsigned int size) {
    if (!data || size < sizeof(tWAVEFORMATEX)) return AssignShortForm(data, size);
    auto* record = static_cast<tWAVEFORMATEX*>(data);
    if (record->cbSize > size - sizeof *record) record->cbSize = 0;
    Assign(record);
}

void XAudioWFX::AssignShortForm(const void* data, unsigned int size) {
    tWAVEFORMATEX record{};
    if (data && size >= sizeof(WAVEFORMAT)) {
        // 15 and 17 bytes are no known form; only their first 14 bytes are used.
        std::memcpy(&record, data, size == offsetof(tWAVEFORMATEX, cbSize) ? size : sizeof(WAVEFORMAT));
        if (size == sizeof(WAVEFORMAT)) record.wBitsPerSample = BitsFromBlockAlign(record);
    }
    Assign(&record);
}

// Files can be wrong about the derived fields, and none of them may be 0, as they are divisors.
void XAudioWFX::CompleteDerivedFields() {
    if (IsLinear(WFXFormatTag())) CalcAvgNBlkAlign();
    if (AvgBytesPerSec() == 0) SetAvgBytesPerSec(1);
    if (BlockAlign() == 0) SetBlockAlign(1);
}

const tWAVEFORMATEX* XAudioWFX::wfx() const {
    return inBlock_ ? reinterpret_cast<const tWAVEFORMATEX*>(block_.Data()) : &plain_;
}

tWAVEFORMATEX* XAudioWFX::pwfx() {
    return inBlock_ ? reinterpret_cast<tWAVEFORMATEX*>(block_.Data()) : &plain_;
}

const WAVEFORMATEXTENSIBLE* XAudioWFX::wfxex() const {
    return reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(wfx());
}

WAVEFORMATEXTENSIBLE* XAudioWFX::pwfxex() { return reinterpret_cast<WAVEFORMATEXTENSIBLE*>(pwfx()); }

int XAudioWFX::WFXFormatTag() const {
    for (const uint16_t tag : kKnownSubFormats) {
        const GUID subFormat = SubFormatOfTag(tag);
        if (IsExtensibleGUID(&subFormat)) return tag;
    }
    return FormatTag();
}

const uint8_t* XAudioWFX::GetExtraData() const {
    return wfx()->cbSize != 0 ? block_.Data() + sizeof(tWAVEFORMATEX) : nullptr;
}

bool XAudioWFX::IsExtensible() const {
    return FormatTag() == kTagExtensible && wfx()->cbSize >= kExtensibleExtra;
}

bool XAudioWFX::IsExtensibleGUID(const GUID* subFormat) const {
    return IsExtensible() && GUID_Equal(wfxex()->SubFormat, *subFormat);
}

void XAudioWFX::SetFormatTag(int tag) { pwfx()->wFormatTag = static_cast<uint16_t>(tag); }

void XAudioWFX::SetWFXFormatTag(int tag) {
    if (!IsExtensible()) return SetFormatTag(tag);
    if (tag == kTagMPEG) return;
    for (const uint16_t known : kKnownSubFormats) {
        if (tag == known) pwfxex()->SubFormat = SubFormatOfTag(known);
    }
}

void XAudioWFX::SetChannels(int channels, bool recalc) {
    const auto count = static_cast<uint16_t>(channels);
    if (IsExtensible() && count != Channels()) pwfxex()->dwChannelMask = 0;
    pwfx()->nChannels = count;
    if (recalc) CalcAvgNBlkAlign();
}

void XAudioWFX::SetSamplesPerSec(int samplesPerSec, bool recalc) {
    pwfx()->nSamplesPerSec = static_cast<uint32_t>(samplesPerSec);
    if (recalc) CalcAvgNBlkAlign();
}

void XAudioWFX::SetBitsPerSample(int bits, bool recalc) {
    const auto width = static_cast<uint16_t>(bits);
    if (IsExtensible() && IsLinear(WFXFormatTag()) && width != BitsPerSample()) {
        pwfxex()->wValidBitsPerSample = width;
    }
    pwfx()->wBitsPerSample = width;
    if (recalc) CalcAvgNBlkAlign();
}

void XAudioWFX::SetAvgBytesPerSec(int bytes) { pwfx()->nAvgBytesPerSec = static_cast<uint32_t>(bytes); }

void XAudioWFX::SetBlockAlign(int bytes) { pwfx()->nBlockAlign = static_cast<uint16_t>(bytes); }

// Absurd channel and bit counts wrap in 32 bits; the product is read as signed.
void XAudioWFX::CalcAvgNBlkAlign() {
    tWAVEFORMATEX* record = pwfx();
    const uint32_t frameBits = uint32_t{record->nChannels} * record->wBitsPerSample;
    record->nBlockAlign = static_cast<uint16_t>(static_cast<int32_t>(frameBits) / 8);
    record->nAvgBytesPerSec = record->nSamplesPerSec * record->nBlockAlign;
}

void XAudioWFX::RemoveAnyExtra() { pwfx()->cbSize = IsExtensible() ? kExtensibleExtra : 0; }

bool XAudioWFX::ConvertWFXToExtensible() {
    if (IsExtensible()) return true;
    if (!IsLinear(FormatTag())) return false;
    WAVEFORMATEXTENSIBLE record{};
    record.Format = *wfx();
    record.Format.wFormatTag = kTagExtensible;
    record.Format.cbSize = kExtensibleExtra;
    record.wValidBitsPerSample = record.Format.wBitsPerSample;
    record.dwChannelMask = kNoSpeakersAssigned;
    record.SubFormat = SubFormatOfTag(wfx()->wFormatTag);
    Assign(reinterpret_cast<const tWAVEFORMATEX*>(&record));
    return true;
}

bool XAudioWFX::ConvertExtensibleToWFX() {
    const int tag = WFXFormatTag();
    if (!IsExtensible() || tag == kTagExtensible) return false;
    tWAVEFORMATEX head = *wfx();
    head.wFormatTag = static_cast<uint16_t>(tag);
    head.cbSize = static_cast<uint16_t>(head.cbSize - kExtensibleExtra);
    if (head.cbSize == 0) {
        Assign(&head);
        return true;
    }
    uint8_t* extra = block_.Data() + sizeof head;
    std::memmove(extra, extra + kExtensibleExtra, head.cbSize);
    *pwfx() = head;
    CompleteDerivedFields();
    return true;
}

int64_t XAudioWFX::CalcmsTime(int64_t bytes) {
    if (AvgBytesPerSec() == 0) SetAvgBytesPerSec(1);
    return SaturatingMultiply(bytes, 1000) / AvgBytesPerSec();
}

int64_t XAudioWFX::CalcBufferSize(int64_t milliseconds) {
    return BlockAlignBuffer(SaturatingMultiply(milliseconds, AvgBytesPerSec()) / 1000);
}

int64_t XAudioWFX::BlockAlignBuffer(int64_t bytes) {
    if (BlockAlign() == 0) SetBlockAlign(1);
    return bytes / BlockAlign() * BlockAlign();
}

int XAudioWFX::ChannelAlignSamples(int samples) {
    if (Channels() == 0) pwfx()->nChannels = 1;
    return samples / Channels() * Channels();
}

int64_t XAudioWFX::SamplesToBytes_RAW(int64_t samples) const {
    return BytesPerSample() != 0 ? SaturatingMultiply(samples, BytesPerSample()) : samples;
}

int64_t XAudioWFX::BytesToSamples_RAW(int64_t bytes) const {
    return BytesPerSample() != 0 ? bytes / BytesPerSample() : bytes;
}

int64_t XAudioWFX::SamplesToBytes_DivChan(int64_t frames) const {
    return SamplesToBytes_RAW(SaturatingMultiply(frames, Channels()));
}

int64_t XAudioWFX::BytesToSamples_DivChan(int64_t bytes) {
    if (Channels() == 0) pwfx()->nChannels = 1;
    return BytesToSamples_RAW(bytes) / Channels();
}

XStr XAudioWFX::WFXToString() const {
    XStr text = L"Format Tag: " + Int2Str(FormatTag());
    text += L"  Channels: " + Int2Str(Channels());
    text += L"  Bits per Sample: " + Int2Str(BitsPerSample());
    text += L"  Samples Per Second: " + Int2Str(SamplesPerSec());
    text += L"  Bytes Per Second: " + Int2Str(AvgBytesPerSec());
    text += L"  Block Align: " + Int2Str(BlockAlign());
    text += L"  CB Size: " + Int2Str(wfx()->cbSize);
    if (IsExtensible()) text += L"  Extensible Sub-Format: " + Int2Str(WFXFormatTag());
    return text;
}

}  // namespace w64
