#include "host/decoder/DecoderInstance.h"

#include "base/XStr.h"
#include "host/files/InputFile.h"
#include "host/terminal/Failure.h"

#include <array>

namespace w64 {

DecoderInstance::DecoderInstance(const PluginLibrary& library, int traceDescriptor)
    : library_(library), channels_(traceDescriptor) {
    STNStdReport report = channels_.Report();
    handle_ = library_.Create(&report);
}

DecoderInstance::~DecoderInstance() {
    alignas(16) std::array<std::byte, 256> fluid{};  // opaque to decoders; they get zeros
    library_.Close(handle_, reinterpret_cast<STKvEncoderFluid*>(fluid.data()));
    library_.Destroy(handle_);
}

void DecoderInstance::SetDecodeRange(int64_t start, int64_t end) {
    STKvCodecGetSet range{};
    range.RangeStart = start;
    range.RangeEnd = end;
    if (library_.Set(handle_, kvSetDecodeRange, &range) != 1) ThrowErrors("cannot set the range to decode");
}

void DecoderInstance::Open(const std::filesystem::path& file, uint32_t flags) {
    const XStr name = FromFileName(file.native());
    STKvOpenDecoder record{};
    record.FileName = name.c_str();
    record.OpenFlags = flags;
    if (library_.Open(handle_, &record) != 1) {
        RequireReadable(file);
        ThrowErrors("cannot open the file");
    }
    const auto unpack = [](NTag& tags, const void* block, uint32_t size) {
        tags.InitFromRawMemory(static_cast<const unsigned char*>(block), size);
    };
    unpack(tags_, record.TagData, record.TagDataSize);
    unpack(properties_, record.Properties, record.PropertiesSize);
    info_ = record.AudioInfo;
    format_.Assign(info_.WaveFormat.Bytes, sizeof info_.WaveFormat.Bytes);
}

std::optional<std::span<const uint8_t>> DecoderInstance::Read() {
    if (ended_) return std::nullopt;
    STKvAudioBlock block{};  // a block without data leaves these fields alone
    if (library_.DecodeBlock(handle_, &block) != 1) ThrowErrors("cannot decode the file");
    ended_ = block.EndOfStream != 0;
    return std::span(static_cast<const uint8_t*>(block.Data), block.DataSize);
}

void DecoderInstance::WriteTags(const std::filesystem::path& file, const NTag& tags) {
    const XStr name = FromFileName(file.native());
    XMem block;
    tags.ToRawMemory(block);
    STKvCodecGetSet record{};
    record.Text1 = name.c_str();
    record.TagData = block.Data();
    record.Value = static_cast<int32_t>(block.Size());
    if (library_.Set(handle_, kvSetTags, &record) != 1) ThrowErrors("cannot write the tags");
}

void DecoderInstance::DeleteTags(const std::filesystem::path& file, const std::vector<XStr>& names) {
    XStr packed;
    for (const XStr& name : names) packed += name + L'\0';
    if (library_.DeleteATag(handle_, FromFileName(file.native()).c_str(), packed.c_str()) != 1) {
        ThrowErrors("cannot delete the tags");
    }
}

void DecoderInstance::ThrowErrors(const char* otherwise) const {
    const std::vector<std::string> errors = Errors();
    throw DecoderFailure(errors.empty() ? otherwise : JoinLines(errors));
}

}  // namespace w64
