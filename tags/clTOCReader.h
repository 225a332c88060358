#pragma once

#include "base/XStr.h"
#include "tags/TOC.h"

namespace w64 {

// Answers questions about a CD's table of contents, and converts addresses and tables.
//
// Addresses are frames, 75 to a second: as LBA, or as minute, second and frame, which count from two seconds
// earlier where `offset` is true. Results that a type cannot hold are clamped.
class clTOCReader {
public:
    // Copies the record. Its last track is limited to 99 and its first to the last.
    explicit clTOCReader(const TOC& toc);

    int FirstTrack() const { return toc_.FirstTrack; }
    int LastTrack() const { return toc_.LastTrack; }
    int TrackCount() const;

    // By position in the record, which is clamped to 0..99.
    const TOCTrack& Track(int position) const;
    bool IsAudioTrack(int position) const;
    unsigned int LBAAddress(int position) const;

    bool HasAudioTracks() const { return AudioTrackCount() > 0; }
    int AudioTrackCount() const;
    bool IsCDExtra() const;  // audio tracks, and data in the last

    // Two readings of one disc: true when the track before the last of `after` lies elsewhere in `before`.
    static bool WasCDExtra(const TOC& before, const TOC& after);

    static int MSFtoLBA(int minute, int second, int frame, bool offset);  // never below 0
    static void LBAtoMSF(int lba, int& minute, int& second, int& frame, bool offset);
    static unsigned int LBATomSecTime(unsigned int lba);  // the low 32 bits
    static int MSFTomSecTime(int minute, int second, int frame);
    static void LBAAddressFromDWORD(unsigned int lba, unsigned char* address);  // to 4 bytes, big-endian
    static unsigned int LBAAddressToDWORD(const unsigned char* address);
    static void MSFAddressFromLBADWORD(unsigned int lba, unsigned char* address, bool offset);  // 0, m, s, f
    static void BYTESWAPWORD(unsigned short* word);

    // The text by which Microsoft's media software knows a disc: hexadecimal numbers with "+" between them, the
    // count of audio tracks, the start of each track and of the lead-out as LBA + 150, and at times a data
    // track as "+X" and its LBA + 150. On purpose no exact inverses: writing moves the last audio track of a
    // CD-Extra up by another 150 frames, reading moves data tracks behind the audio tracks down by 150.
    // Addresses wrap at 32 bits, numbers in a text saturate there; tracks past the hundredth are dropped.
    static XStr CDExtraLBAToMicrosoftStrTOC(const TOC& toc, bool includeData);
    static void MicrosoftStrTOCToCDExtraLBA(const wchar_t* text, TOC& toc);

private:
    TOC toc_;
};

}  // namespace w64
