#include "mp3/MP3Decoder.h"

// The plug-in needs no files from its folder.
extern "C" __attribute__((visibility("default"))) void SetModulePath(const wchar_t*) {}

std::unique_ptr<w64::KvDecoder> w64::NewDecoder(const STNStdReport& report) {
    return std::make_unique<MP3Decoder>(report);
}
