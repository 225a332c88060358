#include "mp3/MP3Decoder.h"

#include "base/Saturating.h"
#include "interface/StdReport.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace w64 {

namespace {

constexpr int64_t kBlockBytes = 65536;  // minimum block of a file, which ends with a whole MPEG frame

void CopyFormat(const tWAVEFORMATEX& from, STKvWaveFormat& to) { std::memcpy(to.Bytes, &from, sizeof from); }

}  // namespace

bool MP3Decoder::Open(STKvOpenDecoder& open) {
    StdReport::WriteDEBUG(L"->->", report_, "Open", true);
    packets_ = open.OpenFlags & kvOpenPackets;
    if (!(packets_ ? OpenPackets() : OpenFile(open))) {
        stream_.Close();
        return false;
    }
    if (!packets_ && open.OpenFlags & (kvOpenAudioInfo | kvOpenDecode)) FillAudioInfo(open);
    StdReport::WriteDEBUG(L"<-<-", report_, "Open", true);
    return true;
}

bool MP3Decoder::OpenPackets() {
    from_ = position_ = 0;
    return stream_.OpenPackets();
}

bool MP3Decoder::OpenFile(const STKvOpenDecoder& open) {
    const XStr fileName = open.FileName ? open.FileName : L"";
    if (!open.FileName || !file_.Open(fileName, XFile::Access::Read)) {
        return StdReport::Fail(L"Error opening file '" + fileName + L"' check no other program has it open.",
                               report_, "Open");
    }
    StdReport::WriteDEBUG(L"Reading Audio Information", report_, nullptr, true);
    if (!stream_.OpenFile(file_)) return false;
    TakeFormat();
    from_ = std::clamp<int64_t>(rangeStart_, 0, stream_.Length());
    to_ = rangeEnd_ == -1 ? stream_.Length() : std::clamp(rangeEnd_, from_, stream_.Length());
    return GoTo(from_);
}

// Without decoding, the format describes the stored audio.
void MP3Decoder::FillAudioInfo(STKvOpenDecoder& open) {
    tWAVEFORMATEX format = *audio_.wfx();
    if (!(open.OpenFlags & kvOpenDecode)) {
        format.wFormatTag = stream_.Layer() == 3 ? kTagMPEGLayer3 : kTagMPEG;
        format.nAvgBytesPerSec = stream_.AverageBytesPerSec();
        format.nBlockAlign = 1;
        format.wBitsPerSample = 0;
    }
    CopyFormat(format, open.AudioInfo.WaveFormat);
    const double part =
        static_cast<double>(to_ - from_) / static_cast<double>(std::max<int64_t>(stream_.Length(), 1));
    open.AudioInfo.BitRate = stream_.AverageBytesPerSec() * 8;
    open.AudioInfo.LengthMilliseconds = CalcmsTimeOfFrames(to_ - from_);
    open.AudioInfo.LengthBytes = static_cast<int64_t>(static_cast<double>(stream_.StoredBytes()) * part);
}

bool MP3Decoder::Close(STKvEncoderFluid*) {
    StdReport::WriteDEBUG(L"->->", report_, "Close", true);
    stream_.Close();
    file_.Close();
    StdReport::WriteDEBUG(L"<-<-", report_, "Close", true);
    return true;
}

bool MP3Decoder::DecodeBlock(STKvAudioBlock& block) {
    if (!stream_.IsOpen()) return StdReport::Fail(L"Error no MPEG audio is open.", report_, "DecodeBlock");
    audio_.SetUsedByte(0);
    if (!(packets_ ? DecodePacket(block) : DecodeRange(block))) return false;
    HandOut(block);
    return true;
}

bool MP3Decoder::DecodePacket(const STKvAudioBlock& packet) {
    if (!stream_.Feed(packet.Data, packet.Data ? packet.DataSize : 0)) return false;
    MPEGStep step = MPEGStep::Decoded;
    while (step == MPEGStep::Decoded) step = stream_.DecodeFrame(audio_);
    if (step == MPEGStep::Failed || (packet.EndOfStream && !stream_.EndPackets())) return false;
    TakeFormat();
    return true;
}

bool MP3Decoder::DecodeRange(STKvAudioBlock& block) {
    const int64_t left = audio_.SampleToBytes(to_ - position_);
    const int64_t wanted = std::min(kBlockBytes, left);
    MPEGStep step = MPEGStep::Decoded;
    while (step == MPEGStep::Decoded && audio_.GetUsedByte() < wanted) step = stream_.DecodeFrame(audio_);
    if (step == MPEGStep::Failed) return false;
    audio_.SetUsedByte(std::min(audio_.GetUsedByte(), left));
    block.EndOfStream = step == MPEGStep::InputUsedUp || audio_.GetUsedByte() == left;
    return true;
}

void MP3Decoder::HandOut(STKvAudioBlock& block) {
    const int64_t bytes = audio_.GetUsedByte();
    block.Data = bytes == 0 ? nullptr : audio_.BufferStart();
    block.DataSize = static_cast<uint32_t>(bytes);
    CopyFormat(*audio_.wfx(), block.WaveFormat);
    block.BitRate = packets_ ? stream_.BitRate() : stream_.AverageBytesPerSec() * 8;
    block.DurationMilliseconds = audio_.CalcmsTime(bytes);
    block.PositionMilliseconds = CalcmsTimeOfFrames(position_ - from_);
    position_ = SaturatingAdd(position_, audio_.GetUsedSample());
}

bool MP3Decoder::SetPosition(int64_t frame) {
    StdReport::WriteDEBUG(L"->->", report_, "SetPosition", true);
    if (!stream_.IsOpen()) return StdReport::Fail(L"Error no MPEG audio is open.", report_, "SetPosition");
    if (!GoTo(SaturatingAdd(from_, frame))) return false;
    StdReport::WriteDEBUG(L"<-<-", report_, "SetPosition", true);
    return true;
}

bool MP3Decoder::GoTo(int64_t position) {
    if (packets_) {
        position_ = position;
        return stream_.RestartPackets();
    }
    position_ = std::clamp<int64_t>(position, 0, to_);
    return position_ == to_ || stream_.Seek(position_);
}

void MP3Decoder::TakeFormat() {
    tWAVEFORMATEX format{};
    format.wFormatTag = kTagFloat;
    format.nChannels = static_cast<uint16_t>(stream_.Channels());
    format.nSamplesPerSec = static_cast<uint32_t>(stream_.SamplesPerSec());
    format.wBitsPerSample = 32;
    audio_.Assign(&format);
}

bool MP3Decoder::Get(const wchar_t* key, STKvCodecGetSet& record) {
    StdReport::WriteDEBUG(key, report_, "Get", true);
    const std::wstring_view asked = key;
    if (asked == kvGetDecodes && record.Index == 0) {
        answer1_ = L".mp3";
        answer2_ = L"MPEG Audio";
        record.Text2 = answer2_.c_str();
    } else if (asked == kvGetDescription) {
        answer1_ = L"MPEG Audio Decoder";
    } else {
        return false;
    }
    record.Text1 = answer1_.c_str();
    return true;
}

bool MP3Decoder::Set(const wchar_t* key, const STKvCodecGetSet& record) {
    StdReport::WriteDEBUG(key, report_, "Set", true);
    if (key != std::wstring_view(kvSetDecodeRange)) return false;
    rangeStart_ = record.RangeStart;
    rangeEnd_ = record.RangeEnd;
    return true;
}

bool MP3Decoder::DeleteATag(const wchar_t*, const wchar_t*) {
    return StdReport::Fail(L"Error tags of MPEG files are not written.", report_, "DeleteATag");
}

}  // namespace w64
