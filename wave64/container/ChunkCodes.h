#pragma once

#include "base/GUID.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace w64 {

// A chunk has two names: callers use four-character codes (32-bit values of the characters in memory order,
// "fmt " is 0x20746D66), a Wave64 file stores GUIDs. Codes are converted to GUIDs for comparison; the reverse
// is for log text only.

constexpr uint32_t kSummaryListCode = 0x925F94BC;  // the summary list has a GUID but no printable code
constexpr int64_t kOuterHeaderBytes = 40;          // identifier, 64-bit file size, form type
constexpr int64_t kChunkHeaderBytes = 24;          // identifier, 64-bit size that counts this header

// The first four characters; a shorter text is padded with NUL.
uint32_t RIFFChnkID(std::string_view fourcc);
std::string RIFFChnkID2CHR(uint32_t code);

// The first four bytes of a GUID as characters.
std::string RIFFChnkGUID2CHR(const GUID& guid);

GUID ConvertToGUID(uint32_t code);
bool CompareGUID(const GUID& guid, uint32_t code);

// With anyCase, `fourcc` matches all in upper or all in lower case, but not in mixed case.
bool CompareID(uint32_t code, std::string_view fourcc, bool anyCase);

// Bytes from n up to the next multiple of 8; 0 when n is not positive.
int GetPaddingBytes(int64_t n);

// n rounded up so, INT64_MAX at most.
int64_t Padded(int64_t n);

}  // namespace w64
