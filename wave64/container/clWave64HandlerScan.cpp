// Reading the layout of an existing file.

#include "base/LittleEndian.h"
#include "base/Saturating.h"
#include "interface/StdReport.h"
#include "wave64/container/clWave64Handler.h"

#include <algorithm>
#include <array>
#include <limits>

namespace w64 {

namespace {

constexpr const char* kScanFile = "ScanFile";

// Far more than any recording has; without a limit, a file of empty chunks would fill the memory with records.
constexpr int kMaxChunks = 450'000;

}  // namespace

// Reads headers through a window of the file, so that adjacent small chunks cost one read. The window is small at
// first and after a large chunk, as those are rarely followed by many small ones, and grows while headers are near.
class clWave64Handler::HeaderWindow {
public:
    explicit HeaderWindow(XFile& file) : file_(file) {}

    // The header of `size` bytes at `position`, valid until the next call; null if the file is too short.
    const uint8_t* HeaderAt(int64_t position, int64_t size = kChunkHeaderBytes) {
        if (!Holds(position, size)) Fill(position);
        return Holds(position, size) ? bytes_.data() + (position - start_) : nullptr;
    }

private:
    bool Holds(int64_t position, int64_t size) const {
        return position >= start_ && position - start_ <= held_ - size;
    }

    void Fill(int64_t position) {
        const bool isNear = held_ > 0 && position - (start_ + held_) < static_cast<int64_t>(bytes_.size());
        wanted_ = isNear ? std::min(2 * wanted_, bytes_.size()) : kMinWindow;
        start_ = position;
        held_ = 0;
        if (!file_.SetPosition(position)) return;
        held_ = static_cast<int64_t>(file_.Read(bytes_.data(), wanted_));
    }

    // Holds the headers before the audio, and a usual padding.
    static constexpr size_t kMinWindow = 8192;

    XFile& file_;
    int64_t start_ = 0;
    int64_t held_ = 0;
    size_t wanted_ = 0;
    std::array<uint8_t, 65536> bytes_;  // filled before it is read
};

bool clWave64Handler::ScanFile() {
    StdReport::WriteDEBUG(L"->->", report_, kScanFile, true);
    const int64_t fileSize = Size();
    if (fileSize < 0) return StdReport::Fail(L"Error reading File Size.", report_, kScanFile);
    layoutFault_ = fileSize == 0 ? L"the file is empty" : L"";
    isScanLimited_ = false;
    if (fileSize == 0) return true;
    chunks_.Clear();
    HeaderWindow window(*this);
    if (!ScanOuterHeader(window, fileSize)) return false;
    WalkChunks(window, fileSize);
    CheckComputedSize(fileSize);
    StdReport::WriteDEBUG(L"<-<-", report_, kScanFile, true);
    return true;
}

bool clWave64Handler::ScanOuterHeader(HeaderWindow& window, int64_t fileSize) {
    if (!SetPosition(0)) return StdReport::Fail(L"Error Setting File Position to 0.", report_, kScanFile);
    const uint8_t* header = window.HeaderAt(0, kOuterHeaderBytes);
    if (!header) return StdReport::Fail(L"Error: File too small for RIFF.", report_, kScanFile);
    const auto identifier = base::Load<GUID>(header);
    const auto sizeField = base::Load<uint64_t>(header + 16);
    const auto formType = base::Load<GUID>(header + 24);
    const XStr name = Widen(RIFFChnkGUID2CHR(identifier));
    if (!CompareGUID(identifier, RiffID) || !CompareGUID(formType, FormType)) {
        return StdReport::Fail(L"Error RIFF chunk unknown '" + name + L"'", report_, kScanFile);
    }
    StdReport::WriteDEBUG(
        [&] {
            return L"  RIFF Header '" + name + L"'  Length: " + Int2Str(sizeField) + L"  FormType '" +
                   Widen(RIFFChnkGUID2CHR(formType)) + L"'";
        },
        report_, kScanFile);
    if (sizeField % 8 != 0) {
        StdReport::WriteINFO(L"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.", report_,
                             kScanFile);
    }
    constexpr uint64_t largest = std::numeric_limits<int64_t>::max();
    riffSize_ = static_cast<int64_t>(std::min(sizeField, largest));
    if (riffSize_ != fileSize) {
        StdReport::WriteINFO(L"Warning: 'RiffSize != FileSize' must be extra data on end of file.", report_,
                             kScanFile);
        StdReport::WriteINFO(L"FileSize: " + Int2Str(fileSize) + L"  RiffSize: " + Int2Str(riffSize_),
                             report_, kScanFile);
    }
    return true;
}

// Lenient: whatever is wrong ends the walk, and the chunks found so far are kept.
void clWave64Handler::WalkChunks(HeaderWindow& window, int64_t fileSize) {
    // The exact rules ignore a header with nothing after it.
    const int64_t lastHeader = riffSize_ - kChunkHeaderBytes - (rules_.safe ? 0 : 1);
    int64_t position = kOuterHeaderBytes;
    while (position <= lastHeader) {
        const uint8_t* header = window.HeaderAt(position);
        if (!header) {
            layoutFault_ = L"the file ends before the chunk at " + Int2Str(position);
            StdReport::WriteERROR(L"File error reading chunk.", report_, kScanFile);
            return;
        }
        const auto identifier = base::Load<GUID>(header);
        auto sizeField = base::Load<uint64_t>(header + 16);
        StdReport::WriteDEBUG(
            [&] {
                return L"  Got Chunk '" + Widen(RIFFChnkGUID2CHR(identifier)) + L"'  Length: " +
                       Int2Str(sizeField) + L"'  RiffSize: " + Int2Str(riffSize_) + L"  ChunkPosition: " +
                       Int2Str(position);
            },
            report_, kScanFile);
        // A smaller size would lead back to or into this header.
        if (sizeField < kChunkHeaderBytes || Count() == kMaxChunks) {
            layoutFault_ =
                L"the chunk at " + Int2Str(position) +
                (Count() == kMaxChunks ? L" exceeds the limit of " + Int2Str(kMaxChunks)
                                       : L" has a size of " + Int2Str(sizeField) + L", less than its header");
            isScanLimited_ = true;
            StdReport::WriteERROR(L"File error reading chunk.", report_, kScanFile);
            return;
        }
        if (const auto left = static_cast<uint64_t>(riffSize_ - position); left < sizeField) {
            StdReport::WriteERROR(L"Error Chunk is out of file.", report_, kScanFile);
            layoutFault_ = L"the chunk at " + Int2Str(position) + L" extends past the end of the file";
            sizeField = left;
        }
        const auto bytes = static_cast<int64_t>(sizeField);
        chunks_.Append(
            {identifier, bytes - kChunkHeaderBytes, position, position + kChunkHeaderBytes, false, {}});
        position += bytes;
        position = SaturatingAdd(position, GetPaddingBytes(position));
        // A seek within the file cannot fail, and reading does its own.
        if (position > fileSize && !SetPosition(position)) {
            StdReport::WriteERROR(L"Error Setting Position.", report_, kScanFile);
            return;
        }
    }
}

// The walk and the computed layout agree on every record, as both start after the outer header and pad each
// chunk to 8 bytes; only the total size can differ.
void clWave64Handler::CheckComputedSize(int64_t fileSize) {
    const int64_t scannedSize = riffSize_;
    CalcAllChunks();
    if (layoutFault_.empty()) layoutFault_ = FaultOfLength(scannedSize, fileSize);
    if (riffSize_ != scannedSize && scannedSize % 8 != 0) {
        StdReport::WriteINFO(L"Error calculated total RIFF chunk size differs from file.", report_,
                             kScanFile);
    }
}

// Only the padding of the last chunk may be missing, in the file or in the outer size.
XStr clWave64Handler::FaultOfLength(int64_t outerSize, int64_t fileSize) const {
    const int64_t lastSize = Count() > 0 ? chunks_[Count() - 1].DataSize : 0;
    const int64_t minSize = riffSize_ - GetPaddingBytes(lastSize);
    const auto fits = [&](int64_t length) { return length >= minSize && length <= riffSize_; };
    if (fits(outerSize) && fits(fileSize)) return {};
    return L"the chunks end at " + Int2Str(riffSize_) + L", the file at " + Int2Str(fileSize) +
           L", and its header says " + Int2Str(outerSize);
}

}  // namespace w64
