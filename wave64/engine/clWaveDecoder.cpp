// Decoding, block by block.

#include "wave64/engine/clWaveDecoder.h"

#include "base/XApplication.h"
#include "interface/StdReport.h"
#include "wave64/engine/WaveFormatCopy.h"

#include <algorithm>

namespace w64 {

namespace {

constexpr const char* kPrepare = "PrepareToDecodeAudio";
constexpr const char* kInitializeExternal = "InitializeExternalDecoder";
constexpr int64_t kMaxReadBytes = 65536;  // stored data per block

}  // namespace

bool clWaveDecoder::Initialize(void* fileHandle, const STNStdReport& report, int64_t rangeStart,
                               int64_t rangeEnd) {
    report_ = report;
    StdReport::WriteDEBUG(L"->->", report_, "Initialize", true);
    rangeStart_ = rangeStart;
    rangeEnd_ = rangeEnd;
    file_.Open(fileHandle);
    StdReport::WriteDEBUG(L"<-<-", report_, "Initialize", true);
    return chunks_.Initialize(fileHandle, report);
}

void clWaveDecoder::Close(STKvEncoderFluid* fluid) {
    StdReport::WriteDEBUG(L"->->", report_, "Close", true);
    chunks_.Destroy();
    file_.Close();
    ForgetPendingOutput();
    if (external_) subDecoder_.Close(fluid);
    StdReport::WriteDEBUG(L"<-<-", report_, "Close", true);
}

bool clWaveDecoder::PrepareToDecodeAudio(STKvAudioInfo& info) {
    StdReport::WriteDEBUG(L"->->", report_, kPrepare, true);
    if (!PullOutFMTnDATA()) return false;
    input_.Assign(stored_);
    // The raw tag: an extensible record for MPEG has no packets that the sub-decoder takes.
    const bool isMPEG = stored_.FormatTag() == kTagMPEG || stored_.FormatTag() == kTagMPEGLayer3;
    if (!(isMPEG ? LoadExternalDecoder() : PrepareStored())) return false;

    StdReport::WriteDEBUG(L"Setting Position in File", report_, nullptr, true);
    if (!GoToOffset(CalcDecodeFrom(), kPrepare)) return false;
    if (external_ && !InitializeExternalDecoder()) return false;
    CopyWaveFormat(output_, info.WaveFormat);
    StdReport::WriteDEBUG(L"<-<-", report_, kPrepare, true);
    return true;
}

bool clWaveDecoder::PrepareStored() {
    StdReport::WriteDEBUG(L"Calling ACMDecoder.CreateNewConverter", report_, nullptr, true);
    if (!decoder_.CreateNewConverter(stored_, true)) {
        return StdReport::Fail(L"Error Cannot Create Wave Decoder (" + GetACMFormat() + L")?", report_,
                               kPrepare);
    }
    StdReport::WriteDEBUG(L"Compressed WFX (on file): ", report_, nullptr, false);
    StdReport::WriteDEBUG([&] { return stored_.WFXToString(); }, report_, nullptr);
    SetOutputFormat(decoder_.GetWFXOut());
    StdReport::WriteDEBUG(L"Uncompressed WFX (sent to kv): ", report_, nullptr, false);
    StdReport::WriteDEBUG([&] { return output_.WFXToString(); }, report_, nullptr);
    return true;
}

bool clWaveDecoder::LoadExternalDecoder() {
    StdReport::WriteDEBUG(L"Loading mp3 Sub-Decoder", report_, nullptr, true);
    ForgetPendingOutput();  // it belongs to the library that is unloaded
    const XStr folder = XApplication::ApplicationPath();
    const XStr path = folder + L"/mp3.dll";
    if (folder.empty() || !subDecoder_.LoadDecoder(path, L".mp3")) {
        return StdReport::Fail(L"Error loading external Decoder '" + path + L"'", report_, kPrepare);
    }
    external_ = true;
    return true;
}

bool clWaveDecoder::InitializeExternalDecoder() {
    StdReport::WriteDEBUG(L"->->", report_, kInitializeExternal, true);
    StdReport::WriteDEBUG(L"Creating External Decoder", report_, nullptr, true);
    if (!subDecoder_.Create(report_))
        return StdReport::Fail(L"Error creating external Decoder.", report_, kInitializeExternal);

    StdReport::WriteDEBUG(L"Opening External Decoder", report_, nullptr, true);
    STKvOpenDecoder open{};
    open.OpenFlags = kvOpenPackets;
    if (!subDecoder_.Open(&open))
        return StdReport::Fail(L"Error opening external Decoder.", report_, kInitializeExternal);

    StdReport::WriteDEBUG(L"Decoding until first data with External Decoder", report_, nullptr, true);
    if (!ExternalDecodeData()) return false;
    StdReport::WriteDEBUG(L"<-<-", report_, kInitializeExternal, true);
    return true;
}

bool clWaveDecoder::DecodeBlock(STKvAudioBlock& block) {
    block.PositionMilliseconds = stored_.CalcmsTime(currentOffset_ - CalcDecodeFrom());
    if (HasPendingOutput()) {  // already read, so its audio starts before the current offset
        block.PositionMilliseconds -= output_.CalcmsTime(pendingSize_);
    } else if (bytesLeft_ != 0 && !(external_ ? ExternalDecodeData() : DecodeStoredData())) {
        return false;
    }
    block.EndOfStream = bytesLeft_ == 0;
    if (HasPendingOutput()) HandOut(block);
    return true;
}

void clWaveDecoder::HandOut(STKvAudioBlock& block) {
    block.Data = pendingData_;
    block.DataSize = pendingSize_;
    CopyWaveFormat(output_, block.WaveFormat);
    block.BitRate = BitRate();
    block.DurationMilliseconds = output_.CalcmsTime(pendingSize_);
    ForgetPendingOutput();
}

bool clWaveDecoder::DecodeStoredData() {
    if (!ReadDataBlock()) return false;
    // In place: audio that is delivered as stored goes to the host from the buffer that it was read into.
    if (!decoder_.ConvertData(input_, true, bytesLeft_ == 0, true)) {
        return StdReport::Fail(L"Error cannot decode data, audio file corrupt?", report_, "DecodeBlock");
    }
    pendingData_ = decoder_.Buffer().BufferStart();
    pendingSize_ = static_cast<uint32_t>(decoder_.Buffer().GetUsedByte());
    return true;
}

// Feeds packets until audio comes out or no packet is left.
bool clWaveDecoder::ExternalDecodeData() {
    while (bytesLeft_ != 0) {
        if (!ReadDataBlock()) return false;
        STKvAudioBlock block{};
        block.Data = input_.BufferStart();
        block.DataSize = static_cast<uint32_t>(input_.GetUsedByte());
        block.EndOfStream = bytesLeft_ == 0;
        if (!subDecoder_.DecodeBlock(&block)) {
            return StdReport::Fail(L"Error decoding audio with external Decoder.", report_,
                                   "ExternalDecodeData");
        }
        if (!block.Data || block.DataSize == 0) continue;
        pendingData_ = block.Data;
        pendingSize_ = block.DataSize;
        SetOutputFormat(XAudioWFX(block.WaveFormat.Bytes, sizeof block.WaveFormat.Bytes));
        return true;
    }
    return true;
}

bool clWaveDecoder::ReadDataBlock() {
    constexpr const char* name = "ReadDataBlock";
    const int64_t bytes = std::min(stored_.BlockAlignBuffer(kMaxReadBytes), bytesLeft_);
    if (!input_.SetBufferByteSizeNew(bytes, false, false)) {
        return StdReport::Fail(L"Error allocating decoding buffer.", report_, name);
    }
    const auto wanted = static_cast<size_t>(bytes);
    if (file_.Read(input_.BufferStart(), wanted) < wanted)
        return StdReport::Fail(L"Error reading data from file.", report_, name);
    input_.SetUsedByte(bytes);
    bytesLeft_ -= bytes;
    currentOffset_ += bytes;
    return true;
}

bool clWaveDecoder::SetPosition(int64_t frame) {
    return GoToOffset(std::min(OffsetOfFrame(CalcDecodeFrom(), frame), CalcDecodeTo()), "SetPosition");
}

bool clWaveDecoder::GoToOffset(int64_t offset, const char* functionName) {
    if (!file_.SetPosition(offset))
        return StdReport::Fail(L"Error SetPosition returned false.", report_, functionName);
    currentOffset_ = offset;
    bytesLeft_ = WholeFrames(std::max<int64_t>(CalcDecodeTo() - offset, 0));
    return true;
}

// The host gets 18 or 40 bytes of the record, so it must not claim extra bytes beyond them.
void clWaveDecoder::SetOutputFormat(const XAudioWFX& format) {
    output_ = format;
    output_.RemoveAnyExtra();
}

void clWaveDecoder::ForgetPendingOutput() {
    pendingData_ = nullptr;
    pendingSize_ = 0;
}

}  // namespace w64
