#include "host/Wave64Writer.h"

#include "host/Failure.h"

Wave64Writer::Wave64Writer(const std::string& path, bool replace, const WAVEFORMATEXTENSIBLE& format,
                           int traceDescriptor)
    : output_(path, replace), channels_(traceDescriptor) {
    chunks_.SetRules({.safe = true});
    Check(chunks_.InitializeNewWAV(output_.File().Handle(), &format.Format, channels_.Report(), {}, 0));
}

void Wave64Writer::Write(std::span<const uint8_t> frames) {
    if (!output_.File().Write(frames.data(), frames.size())) throw SystemFailure("cannot write");
}

void Wave64Writer::Finish() {
    STRIFFChunk* data = chunks_.FindChunkForWrite("data");
    data->DataSize = output_.File().Size() - data->FileDataPosition;

    // Readers pass over a chunk header with nothing behind it.
    constexpr uint64_t nothing = 0;
    if (data->DataSize == 0) chunks_.AddChunk("junk", sizeof nothing, &nothing, -1);
    Check(chunks_.WriteChunksAfterData());
    Check(chunks_.WriteChunkHeaders(false));
    output_.Commit();
}

void Wave64Writer::Check(bool done) const {
    if (!done) throw Failure(JoinLines(channels_.Errors()));
}
