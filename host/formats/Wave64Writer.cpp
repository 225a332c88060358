#include "host/formats/Wave64Writer.h"

#include "host/terminal/Failure.h"

#include <new>

namespace w64 {

namespace {

clPassRIFFChunks ChunksFor(std::optional<uint32_t> frameCount) {
    clPassRIFFChunks chunks;
    if (!frameCount) return chunks;
    // The writer fills in the format, which comes first.
    const bool added = chunks.AddInternal(RIFFChnkID("fmt "), nullptr, 0, false) &&
                       chunks.AddInternal(RIFFChnkID("fact"), &*frameCount, sizeof *frameCount, false);
    if (!added) throw std::bad_alloc();
    return chunks;
}

}  // namespace

Wave64Writer::Wave64Writer(const std::string& path, bool replace, const XAudioWFX& format,
                           int traceDescriptor, std::optional<uint32_t> frameCount)
    : output_(path, replace), channels_(traceDescriptor) {
    chunks_.SetRules({.safe = true});
    Check(chunks_.InitializeNewWAV(output_.File().Handle(), format, channels_.Report(), ChunksFor(frameCount),
                                   0));
}

void Wave64Writer::Write(std::span<const uint8_t> audio) {
    if (!output_.File().Write(audio.data(), audio.size())) throw SystemFailure("cannot write");
}

void Wave64Writer::Finish() {
    STRIFFChunk* data = chunks_.FindChunkForWrite("data");
    data->DataSize = output_.File().Size() - data->FileDataPosition;

    // Readers skip a chunk header at the very end of a file.
    constexpr uint64_t nothing = 0;
    if (data->DataSize == 0) chunks_.AddChunk("junk", sizeof nothing, &nothing, -1);
    Check(chunks_.WriteChunksAfterData());
    Check(chunks_.WriteChunkHeaders(false));
    output_.Commit();
}

void Wave64Writer::Check(bool done) const {
    if (done) return;
    const std::vector<std::string> errors = channels_.Errors();
    throw Failure(errors.empty() ? "cannot write the file" : JoinLines(errors));
}

}  // namespace w64
