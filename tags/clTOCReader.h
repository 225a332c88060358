#pragma once

#include "base/XStr.h"
#include "tags/TOC.h"

namespace w64 {

// Queries a CD's table of contents, and converts addresses and tables. No caller here: it is for hosts that rip
// CDs or look them up by the "_cdtoc" tag.
//
// Addresses are frames, 75 per second: as LBA, or as minute, second and frame, to which `offset` adds two seconds.
// Results that a type cannot hold are clamped.
class clTOCReader {
public:
    // Copies the record. The last track is limited to 99, the first to the last.
    explicit clTOCReader(const TOC& toc);

    int FirstTrack() const { return toc_.FirstTrack; }
    int LastTrack() const { return toc_.LastTrack; }
    int TrackCount() const;

    // By position in the record, clamped to 0..99.
    const TOCTrack& Track(int position) const;
    bool IsAudioTrack(int position) const;
    unsigned int LBAAddress(int position) const;

    bool HasAudioTracks() const { return AudioTrackCount() > 0; }
    int AudioTrackCount() const;
    bool IsCDExtra() const;  // audio tracks, then data in the last track

    // For two readings of one disc: true if the last but one track of `after` has another address in `before`.
    static bool WasCDExtra(const TOC& before, const TOC& after);

    static int MSFtoLBA(int minute, int second, int frame, bool offset);  // never below 0
    static void LBAtoMSF(int lba, int& minute, int& second, int& frame, bool offset);
    static unsigned int LBATomSecTime(unsigned int lba);  // the low 32 bits
    static int MSFTomSecTime(int minute, int second, int frame);
    static void LBAAddressFromDWORD(unsigned int lba, unsigned char* address);  // to 4 bytes, big-endian
    static unsigned int LBAAddressToDWORD(const unsigned char* address);
    static void MSFAddressFromLBADWORD(unsigned int lba, unsigned char* address, bool offset);  // 0, m, s, f
    static void BYTESWAPWORD(unsigned short* word);

    // The text by which Microsoft's media software identifies a disc: hexadecimal numbers separated by "+", namely
    // the count of audio tracks, the start of each track and of the lead-out as LBA + 150, and optionally a data
    // track as "+X" and its LBA + 150. On purpose not exact inverses: writing moves the last audio track of a
    // CD-Extra up by another 150 frames, reading moves data tracks after the audio tracks down by 150.
    // Addresses wrap at 32 bits, numbers in a text saturate there; tracks past the hundredth are dropped.
    static XStr CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool includeData);
    static void MicrosoftStrTOCToCDExtraLBA(const wchar_t* text, TOC& toc);

private:
    TOC toc_;
};

}  // namespace w64
