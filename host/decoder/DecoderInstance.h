#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/decoder/PluginLibrary.h"
#include "host/decoder/ReportChannels.h"
#include "tags/NTag.h"

#include <filesystem>
#include <optional>
#include <span>

namespace w64 {

// One decoder made by the plug-in, for one file.
// Order:  SetDecodeRange (optional), Open, then Read until it returns nothing; tags can be edited at any time.
// Errors: DecoderFailure in the plug-in's own words.
class DecoderInstance {
public:
    DecoderInstance(const PluginLibrary& library, int traceDescriptor);
    DecoderInstance(const DecoderInstance&) = delete;  // the handle has one owner
    DecoderInstance& operator=(const DecoderInstance&) = delete;
    ~DecoderInstance();

    // Frames from the start of the audio. An end of -1 is the end of the last whole frame. For MPEG audio a frame is
    // a stored block, and only an end past the last whole one includes a partial block.
    static constexpr int64_t kPastTheEnd = INT64_MAX;
    void SetDecodeRange(int64_t start, int64_t end);

    // `flags` are KvOpenFlags.
    void Open(const std::filesystem::path& file, uint32_t flags);

    // As the flags have asked for; empty where the decoder has none.
    const NTag& Tags() const { return tags_; }
    const NTag& Properties() const { return properties_; }

    // Edit any file, open or not. Without names all tags are deleted.
    void WriteTags(const std::filesystem::path& file, const NTag& tags);
    void DeleteTags(const std::filesystem::path& file, const std::vector<XStr>& names);

    // Of the audio that Read delivers.
    const XAudioWFX& Format() const { return format_; }
    const STKvAudioInfo& Info() const { return info_; }

    // The next whole frames of audio, valid until the next call; nothing at the end.
    std::optional<std::span<const uint8_t>> Read();

    // Errors that did not stop the plug-in, and its lines of information.
    std::vector<std::string> Errors() const { return channels_.Errors(); }
    std::vector<std::string> Notes() const { return channels_.Notes(); }

private:
    [[noreturn]] void ThrowErrors(const char* otherwise) const;

    const PluginLibrary& library_;
    ReportChannels channels_;
    void* handle_;
    NTag tags_;
    NTag properties_;
    STKvAudioInfo info_{};
    XAudioWFX format_;
    bool ended_ = false;
};

}  // namespace w64
