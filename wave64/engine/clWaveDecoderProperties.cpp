// The property report, section by section.

#include "base/XInternational.h"
#include "interface/StdReport.h"
#include "wave64/engine/clWaveDecoder.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr const char* kFillAudioProps = "FillAudioProps";
constexpr const wchar_t* kSeparator = L",  ";

// Indexed by the bits of a channel mask.
constexpr const wchar_t* kSpeakers[] = {
    L"Left",          L"Right",           L"Center",          L"Sub-woofer",       L"Back Left",
    L"Back Right",    L"Left of Center",  L"Right of Center", L"Back Center",      L"Side Left",
    L"Side Right",    L"Top Center",      L"Top Front Left",  L"Top Front Center", L"Top Front Right",
    L"Top Back Left", L"Top Back Center", L"Top Back Right"};

// Indexed by the number of channels, for formats without a channel mask.
constexpr const wchar_t* kLayouts[] = {
    L"",
    L"Center",
    L"Left, Right",
    L"Left, Right, Sub-woofer",
    L"Left, Right, Back Left, Back Right",
    L"Left, Right, Center, Back Left, Back Right",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
    L"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right",
};

void AppendItem(XStr& list, const XStr& item) {
    if (!list.empty()) list += kSeparator;
    list += item;
}

// Cut at a NUL in the code, which would end the whole text for its readers.
XStr ChunkName(const GUID& guid) {
    if (CompareGUID(guid, kSummaryListCode)) return L"SUMMARYLIST ";
    return L"'" + Widen(RIFFChnkGUID2CHR(guid).c_str()) + L"' ";
}

XStr LosslessQuality(const XAudioWFX& format) {
    const int bits = format.BitsPerSample();
    const uint32_t rate = format.SamplesPerSec();
    if (bits == 16 && rate == 44100) return L"CD  (Lossless)";
    if (bits == 16 && rate == 48000) return L"DAT  (Lossless)";
    if (bits >= 24 && rate >= 48000) return L"DVD  (Lossless)";
    return L"Perfect  (Lossless)";
}

XStr LossyQuality(int tag, uint64_t bitsPerSecondAndChannel) {
    const auto grade = [=](uint64_t medium, uint64_t high) {
        if (bitsPerSecondAndChannel >= high) return L"High  (Lossy)";
        return bitsPerSecondAndChannel >= medium ? L"Medium  (Lossy)" : L"Low  (Lossy)";
    };
    switch (tag) {
    case kTagMPEG:
        return grade(79500, 127500);
    case kTagMPEGLayer3:
        return grade(63500, 95500);
    default:
        return grade(127500, UINT64_MAX);
    }
}

}  // namespace

const XMem* clWaveDecoder::FillAudioProps(const XStr& tagDescription) {
    StdReport::WriteDEBUG(L"->->", report_, kFillAudioProps, true);
    properties_.Clear();
    if (!PullOutFMTnDATA()) return nullptr;
    NTag sections;
    const auto add = [&](const XStr& name, const XStr& value) {
        sections.AddTag(name.c_str(), value.c_str());
        StdReport::WriteDEBUG(value, report_, nullptr, true, (L"\t" + name + L": ").c_str());
    };
    const int tag = stored_.WFXFormatTag();
    add(L"Audio Quality", GetAudioQuality());
    add(L"Encoder Settings", GetACMFormat());
    add(L"Wave Header", WaveHeaderName());
    add(L"Channel Mapping", GetChannelString());
    if (IsLinear(tag) || factSamples_ != 0) add(L"Sample Count", XInternational::Int2Str(SampleCount()));
    add(L"Riff Chunks", ChunkListText());
    if (!tagDescription.empty()) {
        add(L"ID Tag", tagDescription);
        add(L"Contains", L"ID Tag [" + tagDescription + L"]");
    }
    add(L"Gapless", IsLinear(tag) || tag == kTagADPCM ? L"Yes" : L"No");
    sections.ToRawMemory(properties_);
    StdReport::WriteDEBUG(L"<-<-", report_, kFillAudioProps, true);
    return &properties_;
}

XStr clWaveDecoder::GetAudioQuality() const {
    const int tag = stored_.WFXFormatTag();
    if (IsLinear(tag)) return LosslessQuality(stored_);
    const auto channels = static_cast<uint64_t>(std::max(stored_.Channels(), 1));
    return LossyQuality(tag, uint64_t{stored_.AvgBytesPerSec()} * 8 / channels);
}

XStr clWaveDecoder::GetChannelString() const {
    const uint32_t mask = stored_.IsExtensible() ? stored_.wfxex()->dwChannelMask : 0;
    if (mask == 0) {
        const auto channels = static_cast<size_t>(stored_.Channels());
        return channels < std::size(kLayouts) ? kLayouts[channels] : L"";
    }
    XStr names;
    for (size_t bit = 0; bit < std::size(kSpeakers); ++bit) {
        if (mask >> bit & 1) AppendItem(names, kSpeakers[bit]);
    }
    return names;
}

XStr clWaveDecoder::WaveHeaderName() const {
    if (stored_.IsExtensible()) return L"Wave Format Extensible";
    switch (fmt_.Size()) {
    case 14:
        return L"Wave Format";
    case 16:
        return L"Wave Format PCM";
    default:
        return fmt_.Size() >= 18 ? L"Wave Format Extended" : L"Invalid";
    }
}

int64_t clWaveDecoder::SampleCount() {
    if (factSamples_ != 0) return factSamples_;
    return CalcStreamLengthBytes() / std::max(stored_.BlockAlign(), 1);
}

XStr clWaveDecoder::ChunkListText() {
    XStr list;
    for (int i = 0; i < chunks_.Count(); ++i) {
        AppendItem(list, ChunkName(chunks_[i].ChunkGUID) + XInternational::FileSize2Str(chunks_[i].DataSize));
    }
    return list;
}

}  // namespace w64
