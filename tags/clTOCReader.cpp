#include "tags/clTOCReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace w64 {

namespace {

constexpr int kFramesPerSecond = 75;
constexpr int kFramesPerMinute = 60 * kFramesPerSecond;
constexpr int kOffsetFrames = 150;  // between LBA 0 and 00:02:00

bool IsAudio(const TOCTrack& track) { return !(track.ControlAndAdr & TOCTrack::kDataTrack); }

int ClampedToInt(int64_t value) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
}

XStr Hex(uint32_t value) {
    XStr text;
    do {
        text.insert(text.begin(), L"0123456789ABCDEF"[value & 15]);
    } while (value >>= 4);
    return text;
}

// Reads up to the first character that is not a hexadecimal digit.
uint32_t FromHex(std::wstring_view text) {
    uint64_t value = 0;
    for (const wchar_t c : text) {
        const size_t digit = std::wstring_view(L"0123456789ABCDEFabcdef").find(c);
        if (digit == std::wstring_view::npos) break;
        value = std::min<uint64_t>(value * 16 + (digit < 16 ? digit : digit - 6), UINT32_MAX);
    }
    return static_cast<uint32_t>(value);
}

std::vector<std::wstring_view> SplitAtPlus(std::wstring_view text) {
    std::vector<std::wstring_view> items;
    for (;;) {
        const size_t plus = text.find(L'+');
        items.push_back(text.substr(0, plus));
        if (plus == std::wstring_view::npos) return items;
        text.remove_prefix(plus + 1);
    }
}

}  // namespace

clTOCReader::clTOCReader(const TOC& toc) : toc_(toc) {
    toc_.LastTrack = std::min<uint8_t>(toc.LastTrack, 99);
    toc_.FirstTrack = std::min(toc.FirstTrack, toc_.LastTrack);
}

int clTOCReader::TrackCount() const { return LastTrack() - FirstTrack() + 1; }

const TOCTrack& clTOCReader::Track(int position) const {
    return toc_.Tracks[std::clamp(position, 0, TOC::kTracks - 1)];
}

bool clTOCReader::IsAudioTrack(int position) const { return IsAudio(Track(position)); }

unsigned int clTOCReader::LBAAddress(int position) const {
    return LBAAddressToDWORD(Track(position).Address);
}

int clTOCReader::AudioTrackCount() const {
    if (LastTrack() == 0) return 0;
    int count = 0;
    for (const TOCTrack& track : toc_.Tracks) {
        const int number = track.TrackNumber;
        if (IsAudio(track) && number >= FirstTrack() && number <= LastTrack()) ++count;
        if (number == LastTrack()) break;
    }
    return count;
}

bool clTOCReader::IsCDExtra() const {
    if (TrackCount() < 2) return false;
    for (const TOCTrack& track : toc_.Tracks) {
        const int number = track.TrackNumber;
        if (number == LastTrack()) return !IsAudio(track);
        if (number >= FirstTrack() && number < LastTrack() && !IsAudio(track)) return false;
    }
    return true;
}

bool clTOCReader::WasCDExtra(const TOC& before, const TOC& after) {
    if (after.LastTrack == 0) return false;
    for (int i = 0; i < TOC::kTracks; ++i) {
        const TOCTrack& track = before.Tracks[i];
        if (track.TrackNumber == after.LastTrack - 1 &&
            !std::ranges::equal(track.Address, after.Tracks[i].Address)) {
            return true;
        }
        if (track.TrackNumber == after.LastTrack) break;
    }
    return false;
}

int clTOCReader::MSFtoLBA(int minute, int second, int frame, bool offset) {
    const int64_t seconds = int64_t{minute} * 60 + second;
    const int64_t lba = seconds * kFramesPerSecond + frame - (offset ? kOffsetFrames : 0);
    return ClampedToInt(std::max<int64_t>(lba, 0));
}

void clTOCReader::LBAtoMSF(int lba, int& minute, int& second, int& frame, bool offset) {
    const int64_t frames = int64_t{lba} + (offset ? kOffsetFrames : 0);
    minute = static_cast<int>(frames / kFramesPerMinute);
    second = static_cast<int>(frames % kFramesPerMinute / kFramesPerSecond);
    frame = static_cast<int>(frames % kFramesPerSecond);
}

unsigned int clTOCReader::LBATomSecTime(unsigned int lba) {
    return static_cast<unsigned int>(uint64_t{lba} * 1000 / kFramesPerSecond);
}

int clTOCReader::MSFTomSecTime(int minute, int second, int frame) {
    const int64_t seconds = int64_t{minute} * 60 + second;
    return ClampedToInt(seconds * 1000 + int64_t{frame} * 1000 / kFramesPerSecond);
}

void clTOCReader::LBAAddressFromDWORD(unsigned int lba, unsigned char* address) {
    for (int i = 0; i < 4; ++i) address[i] = static_cast<unsigned char>(lba >> (24 - 8 * i));
}

unsigned int clTOCReader::LBAAddressToDWORD(const unsigned char* address) {
    unsigned int lba = 0;
    for (int i = 0; i < 4; ++i) lba = lba << 8 | address[i];
    return lba;
}

void clTOCReader::MSFAddressFromLBADWORD(unsigned int lba, unsigned char* address, bool offset) {
    int minute = 0;
    int second = 0;
    int frame = 0;
    LBAtoMSF(static_cast<int>(lba), minute, second, frame, offset);
    address[0] = 0;
    address[1] = static_cast<unsigned char>(minute);
    address[2] = static_cast<unsigned char>(second);
    address[3] = static_cast<unsigned char>(frame);
}

void clTOCReader::BYTESWAPWORD(unsigned short* word) {
    *word = static_cast<unsigned short>(*word >> 8 | *word << 8);
}

XStr clTOCReader::CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool includeData) {
    const clTOCReader reader(toc);
    const bool extra = reader.IsCDExtra();
    const auto startOf = [&reader](int i) { return reader.LBAAddress(i) + kOffsetFrames; };
    XStr text = Hex(static_cast<uint32_t>(reader.AudioTrackCount()));
    XStr trailer;
    for (int i = 0; i < TOC::kTracks - 1; ++i) {  // a lead-out may follow each
        const int number = reader.Track(i).TrackNumber;
        if (number == reader.FirstTrack() && !reader.IsAudioTrack(i)) {
            if (includeData) trailer = L"+X" + Hex(startOf(i));
            continue;
        }
        const bool last = number == reader.LastTrack();
        if (last && extra && !includeData) break;
        const bool lastAudio = extra && number == reader.LastTrack() - 1;
        text += L"+" + Hex(startOf(i) + (lastAudio ? kOffsetFrames : 0));
        if (last) {
            text += L"+" + Hex(startOf(i + 1));
            break;
        }
    }
    return text + trailer;
}

void clTOCReader::MicrosoftStrTOCToCDExtraLBA(const wchar_t* text, TOC& toc) {
    toc = {};
    int written = 0;
    const auto put = [&](uint8_t control, uint8_t number, uint32_t frame) {
        TOCTrack& track = toc.Tracks[written++];
        track.ControlAndAdr = control;
        track.TrackNumber = number;
        LBAAddressFromDWORD(frame - kOffsetFrames, track.Address);
    };
    const std::vector<std::wstring_view> split = SplitAtPlus(text);
    const uint32_t audioTracks = FromHex(split.front());
    auto items = std::span(split).subspan(1);
    if (!items.empty() && items.back().starts_with(L'X')) {
        put(TOCTrack::kDataTrack, ++toc.LastTrack, FromHex(items.back().substr(1)));
        items = items.first(items.size() - 1);
    }
    for (size_t i = 0; i + 1 < items.size() && written < TOC::kTracks; ++i) {
        const bool data = i >= audioTracks;
        const uint32_t start = FromHex(items[i]) - (data ? kOffsetFrames : 0);
        put(data ? TOCTrack::kDataTrack : 0, ++toc.LastTrack, start);
    }
    if (!items.empty() && written < TOC::kTracks) put(0, TOCTrack::kLeadOut, FromHex(items.back()));
    toc.FirstTrack = items.empty() ? 0 : 1;
    toc.Length = static_cast<uint16_t>(2 + written * int{sizeof(TOCTrack)});
    BYTESWAPWORD(&toc.Length);
}

}  // namespace w64
