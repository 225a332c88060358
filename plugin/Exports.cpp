#include "plugin/clDecoder.h"

// The module handle that a host may store.
extern "C" __attribute__((visibility("default"))) void* gInstance;
void* gInstance = nullptr;

std::unique_ptr<w64::KvDecoder> w64::NewDecoder(const STNStdReport& report) {
    return std::make_unique<clDecoder>(report);
}
