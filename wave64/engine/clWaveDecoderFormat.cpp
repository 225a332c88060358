// Reading the format, data and fact chunks.

#include "base/Saturating.h"
#include "interface/StdReport.h"
#include "wave64/engine/WaveFormatCopy.h"
#include "wave64/engine/clWaveDecoder.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr const char* kPullOut = "PullOutFMTnDATA";
constexpr int64_t kMinFmtBytes = 14;
constexpr int64_t kMaxFmtBytes = 128000;

}  // namespace

bool clWaveDecoder::PullOutFMTnDATA() {
    if (!fmt_.IsEmpty()) return true;
    StdReport::WriteDEBUG(L"->->", report_, kPullOut, true);

    StdReport::WriteDEBUG(L"Finding 'fmt ' chunk.", report_, nullptr, true);
    const STRIFFChunk* fmt = chunks_.FindChunkForRead("FMT ");
    if (!fmt) return StdReport::Fail(L"Error cannot find 'fmt ' chunk.", report_, kPullOut);

    StdReport::WriteDEBUG(L"Finding 'data' chunk.", report_, nullptr, true);
    const STRIFFChunk* data = chunks_.FindChunkForRead("DATA");
    if (!data) return StdReport::Fail(L"Error cannot find 'data' chunk.", report_, kPullOut);
    dataStart_ = data->FileDataPosition;
    dataEnd_ = SaturatingAdd(data->FileDataPosition, data->DataSize);

    StdReport::WriteDEBUG(L"Assigning 'fmt ' chunk to WFX", report_, nullptr, true);
    if (!ReadFormatChunk(*fmt)) return false;
    stored_.Assign(fmt_.Data(), static_cast<unsigned>(fmt_.Size()));
    DeriveOutputFormat();
    ReadFactChunk();
    StdReport::WriteDEBUG(L"<-<-", report_, kPullOut, true);
    return true;
}

bool clWaveDecoder::ReadFormatChunk(const STRIFFChunk& chunk) {
    if (chunk.DataSize < kMinFmtBytes || chunk.DataSize > kMaxFmtBytes ||
        !fmt_.Resize(static_cast<size_t>(chunk.DataSize))) {
        return StdReport::Fail(L"Error 'fmt ' chunk is a bad size.", report_, kPullOut);
    }
    if (!file_.SetPosition(chunk.FileDataPosition))
        return StdReport::Fail(L"Error cannot Set File Position.", report_, kPullOut);
    if (file_.Read(fmt_.Data(), fmt_.Size()) < fmt_.Size()) {
        fmt_.Clear();
        return StdReport::Fail(L"Error cannot read 'fmt ' chunk from file.", report_, kPullOut);
    }
    return true;
}

// A format that is not delivered as stored is announced as PCM with the same channels and rate, until a
// sub-decoder tells its real output format.
void clWaveDecoder::DeriveOutputFormat() {
    output_ = stored_;
    if (!IsLinear(output_.WFXFormatTag())) {
        output_.SetFormatTag(kTagPCM);
        if (output_.BitsPerSample() < 8) output_.SetBitsPerSample(16, false);
        output_.CalcAvgNBlkAlign();
    }
    output_.RemoveAnyExtra();
}

// The count is optional: without it the length is computed from the bytes.
void clWaveDecoder::ReadFactChunk() {
    const STRIFFChunk* fact = chunks_.FindChunkForRead("FACT");
    uint32_t count = 0;
    if (!fact || fact->DataSize < static_cast<int64_t>(sizeof count)) return;
    if (!file_.SetPosition(fact->FileDataPosition)) {
        StdReport::WriteERROR(L"Error cannot Set File Position", report_, kPullOut);
    } else if (file_.Read(&count, sizeof count) < sizeof count) {
        StdReport::WriteERROR(L"Error cannot read 'fact' chunk from file.", report_, kPullOut);
    } else {
        factSamples_ = count;
        StdReport::WriteDEBUG(L"Read 'fact' chunk: ", report_, nullptr, false);
        StdReport::WriteDEBUG([&] { return Int2Str(count); }, report_, nullptr, false);
        StdReport::WriteDEBUG(L" samples", report_, nullptr, true);
    }
}

bool clWaveDecoder::FillAudioInfo(STKvAudioInfo& info) {
    StdReport::WriteDEBUG(L"->->", report_, "FillAudioInfo", true);
    if (!PullOutFMTnDATA()) return false;
    CopyWaveFormat(output_, info.WaveFormat);
    info.LengthBytes = CalcStreamLengthBytes();
    info.BitRate = BitRate();
    info.LengthMilliseconds = CalcStreamLengthmS();

    StdReport::WriteDEBUG(L"Audio Length: ", report_, nullptr, false);
    StdReport::WriteDEBUG([&] { return Int2Str(int64_t{info.LengthMilliseconds}); }, report_, nullptr, false);
    StdReport::WriteDEBUG(L" mili-seconds  ", report_, nullptr, false);
    StdReport::WriteDEBUG([&] { return Int2Str(int64_t{info.LengthBytes}); }, report_, nullptr, false);
    StdReport::WriteDEBUG(L" bytes  ", report_, nullptr, false);
    StdReport::WriteDEBUG([&] { return Int2Str(info.BitRate / 1000); }, report_, nullptr, false);
    StdReport::WriteDEBUG(L" kbps", report_, nullptr, true);
    StdReport::WriteDEBUG(L"<-<-", report_, "FillAudioInfo", true);
    return true;
}

int64_t clWaveDecoder::CalcDecodeFrom() { return ClampToData(OffsetOfFrame(dataStart_, rangeStart_)); }

int64_t clWaveDecoder::CalcDecodeTo() {
    if (rangeEnd_ == -1) return dataStart_ + stored_.BlockAlignBuffer(dataEnd_ - dataStart_);
    return dataStart_ + WholeFrames(ClampToData(OffsetOfFrame(dataStart_, rangeEnd_)) - dataStart_);
}

// A partial frame is not audio. Packets do not follow block boundaries, so a partial block counts if the range
// includes it.
int64_t clWaveDecoder::WholeFrames(int64_t bytes) {
    return IsLinear(stored_.WFXFormatTag()) ? stored_.BlockAlignBuffer(bytes) : bytes;
}

int64_t clWaveDecoder::CalcStreamLengthBytes() {
    return std::max<int64_t>(CalcDecodeTo() - CalcDecodeFrom(), 0);
}

// For compressed audio the byte length says little about the duration, so the sample count is preferred when the
// range is the whole file.
int64_t clWaveDecoder::CalcStreamLengthmS() {
    if (factSamples_ != 0 && rangeStart_ == 0 && rangeEnd_ == -1) {
        const auto rate = std::max<int64_t>(stored_.SamplesPerSec(), 1);
        return int64_t{factSamples_} * 1000 / rate;
    }
    return stored_.CalcmsTime(CalcStreamLengthBytes());
}

XStr clWaveDecoder::GetACMFormat() const {
    switch (stored_.WFXFormatTag()) {
    case kTagPCM:
        return L"PCM";
    case kTagFloat:
        return L"IEEE Float";
    case kTagMPEG:
        return L"MPEG-1 Layer 1 or 2";
    case kTagMPEGLayer3:
        return L"MPEG-1 Layer 3";
    default:
        return L"Unknown ACM ID: " + Int2Str(stored_.WFXFormatTag());
    }
}

int64_t clWaveDecoder::OffsetOfFrame(int64_t origin, int64_t frame) {
    return SaturatingAdd(origin, SaturatingMultiply(frame, stored_.BlockAlign()));
}

int64_t clWaveDecoder::ClampToData(int64_t offset) const { return std::clamp(offset, dataStart_, dataEnd_); }

uint32_t clWaveDecoder::BitRate() const { return stored_.AvgBytesPerSec() * 8u; }

}  // namespace w64
