#pragma once

#include <string>

namespace w64 {

// Where the trace of the decoder goes.
// Errors: UsageError when there is a file of that name, Failure when it cannot be written.
class TraceFile {
public:
    // A new file, a pipe or device, "-" for standard error, or empty for no trace.
    explicit TraceFile(const std::string& name);
    TraceFile(const TraceFile&) = delete;  // one owner closes it
    TraceFile& operator=(const TraceFile&) = delete;
    ~TraceFile();

    int Descriptor() const { return descriptor_; }  // 0 for no trace

private:
    int descriptor_ = 0;
};

}  // namespace w64
