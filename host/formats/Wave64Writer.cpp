#include "host/formats/Wave64Writer.h"

#include "host/terminal/Failure.h"
#include "tags/TaggingOptions.h"
#include "tags/clRIFFSUMMARYLISTChunk.h"

#include <new>
#include <vector>

namespace w64 {

namespace {

XMem ListOf(const NTag& tags) {
    const TaggingOptions options = TaggingOptions::Read();
    XMem list;
    if (!clRIFFSUMMARYLISTChunk::TagsToLIST(list, tags, {}, options.albumOption, options.trackOption,
                                            LISTText::UTF16)) {
        throw std::bad_alloc();
    }
    return list;
}

clPassRIFFChunks ChunksFor(const Metadata& metadata, unsigned padding, std::optional<uint32_t> frameCount) {
    clPassRIFFChunks chunks;
    const auto add = [&chunks](uint32_t code, const void* data, size_t size) {
        if (!chunks.AddInternal(code, data, static_cast<uint32_t>(size), false)) throw std::bad_alloc();
    };
    add(RIFFChnkID("fmt "), nullptr, 0);  // the writer fills it in
    if (frameCount) add(RIFFChnkID("fact"), &*frameCount, sizeof *frameCount);
    const std::vector<uint8_t>& extension = metadata.broadcastExtension;
    if (!extension.empty()) add(RIFFChnkID("bext"), extension.data(), extension.size());
    const XMem list = ListOf(metadata.tags);
    if (!list.IsEmpty()) add(kSummaryListCode, list.Data(), list.Size());
    if (padding != 0) {
        const std::vector<uint8_t> zeros(padding - kChunkHeaderBytes);
        add(RIFFChnkID("JUNK"), zeros.data(), zeros.size());
    }
    return chunks;
}

}  // namespace

Wave64Writer::Wave64Writer(const std::string& path, bool replace, const XAudioWFX& format, unsigned padding,
                           int traceDescriptor, const Metadata& metadata, std::optional<uint32_t> frameCount)
    : output_(path, replace), flush_(output_.File()), channels_(traceDescriptor) {
    chunks_.SetRules({.safe = true});
    Check(chunks_.InitializeNewWAV(output_.File().Handle(), format, channels_.Report(),
                                   ChunksFor(metadata, padding, frameCount), 0));
}

void Wave64Writer::Write(std::span<const uint8_t> audio) {
    if (!output_.File().Write(audio.data(), audio.size())) throw SystemFailure("cannot write");
    flush_.Add(audio.size());
}

const std::filesystem::path& Wave64Writer::Close() {
    Complete();
    return output_.Close();
}

void Wave64Writer::Finish() {
    if (output_.File().IsOpen()) Complete();
    output_.Commit();
}

void Wave64Writer::Complete() {
    STRIFFChunk* data = chunks_.FindChunkForWrite("data");
    data->DataSize = output_.File().Size() - data->FileDataPosition;

    // Readers skip a chunk header at the very end of a file.
    constexpr uint64_t nothing = 0;
    if (data->DataSize == 0) chunks_.AddChunk("junk", sizeof nothing, &nothing, -1);
    Check(chunks_.WriteChunksAfterData());
    Check(chunks_.WriteChunkHeaders(false));
}

void Wave64Writer::Check(bool done) const {
    if (done) return;
    const std::vector<std::string> errors = channels_.Errors();
    throw Failure(errors.empty() ? "cannot write the file" : JoinLines(errors));
}

}  // namespace w64
