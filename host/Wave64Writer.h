#pragma once

#include "host/OutputFile.h"
#include "host/ReportChannels.h"
#include "host/SampleKind.h"
#include "wave64/container/clWave64Handler.h"

#include <cstdint>
#include <span>

// A new Wave64 file of one format.
// Order:  Write any number of times, then Finish; without Finish there is no file.
// Errors: Failure.
class Wave64Writer {
public:
    // An extensible format carries its tag in `format.Format`; the fields behind that are ignored in a plain
    // one.
    Wave64Writer(const std::string& path, bool replace, const WAVEFORMATEXTENSIBLE& format,
                 int traceDescriptor);

    // Interleaved frames in WAVE layout.
    void Write(std::span<const uint8_t> frames);
    void Finish();

private:
    void Check(bool done) const;

    OutputFile output_;
    ReportChannels channels_;
    clWave64Handler chunks_;
};
