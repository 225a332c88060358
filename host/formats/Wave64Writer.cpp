#include "host/formats/Wave64Writer.h"

#include "host/terminal/Failure.h"

#include <new>
#include <vector>

namespace w64 {

namespace {

clPassRIFFChunks ChunksFor(unsigned padding, std::optional<uint32_t> frameCount) {
    clPassRIFFChunks chunks;
    const auto add = [&chunks](const char* code, const void* data, size_t size) {
        if (!chunks.AddInternal(RIFFChnkID(code), data, static_cast<uint32_t>(size), false))
            throw std::bad_alloc();
    };
    add("fmt ", nullptr, 0);  // the writer fills it in
    if (frameCount) add("fact", &*frameCount, sizeof *frameCount);
    if (padding != 0) {
        const std::vector<uint8_t> zeros(padding - kChunkHeaderBytes);
        add("JUNK", zeros.data(), zeros.size());
    }
    return chunks;
}

}  // namespace

Wave64Writer::Wave64Writer(const std::string& path, bool replace, const XAudioWFX& format, unsigned padding,
                           int traceDescriptor, std::optional<uint32_t> frameCount)
    : output_(path, replace), channels_(traceDescriptor) {
    chunks_.SetRules({.safe = true});
    Check(chunks_.InitializeNewWAV(output_.File().Handle(), format, channels_.Report(),
                                   ChunksFor(padding, frameCount), 0));
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
