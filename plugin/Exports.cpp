#include "plugin/clDecoder.h"

// A place where the host may store its handle of the module.
extern "C" __attribute__((visibility("default"))) void* gInstance;
void* gInstance = nullptr;

std::unique_ptr<w64::KvDecoder> w64::NewDecoder(const STNStdReport& report) {
    return std::make_unique<clDecoder>(report);
}
