#include "mp3/MP3Decoder.h"

// Nothing that lies beside the library is needed.
extern "C" __attribute__((visibility("default"))) void SetModulePath(const wchar_t*) {}

std::unique_ptr<w64::KvDecoder> w64::NewDecoder(const STNStdReport& report) {
    return std::make_unique<MP3Decoder>(report);
}
