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
// Order:  SetDecodeRange (or not), Open, then Read until it gives nothing; tags are edited at any time.
// Errors: DecoderFailure in the plug-in's own words.
class DecoderInstance {
public:
    DecoderInstance(const PluginLibrary& library, int traceDescriptor);
    DecoderInstance(const DecoderInstance&) = delete;  // the handle has one owner
    DecoderInstance& operator=(const DecoderInstance&) = delete;
    ~DecoderInstance();

    // Frames from the start of the audio. An end of -1 is that of the last whole frame; for MPEG audio a frame is
    // a stored block, and only an end beyond it includes a part of one.
    static constexpr int64_t kPastTheEnd = INT64_MAX;
    void SetDecodeRange(int64_t start, int64_t end);

    // `flags` are KvOpenFlags.
    void Open(const std::filesystem::path& file, uint32_t flags);

    // What the flags have asked for; empty where the decoder has nothing.
    const NTag& Tags() const { return tags_; }
    const NTag& Properties() const { return properties_; }

    // Edits of any file, open or not. All tags are deleted when no names are given.
    void WriteTags(const std::filesystem::path& file, const NTag& tags);
    void DeleteTags(const std::filesystem::path& file, const std::vector<XStr>& names);

    // Of the audio that Read delivers.
    const XAudioWFX& Format() const { return format_; }
    const STKvAudioInfo& Info() const { return info_; }

    // The next bytes of audio, whole frames, valid until the next call; nothing at the end.
    std::optional<std::span<const uint8_t>> Read();

    // What the plug-in has complained about without giving up, and what it found worth mentioning.
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
