#pragma once

#include "base/XFile.h"
#include "host/formats/AudioMD5.h"
#include "host/terminal/CommandContext.h"

#include <filesystem>
#include <span>

namespace w64 {

// Whether a file that was written holds the audio that went into it.
// Order:  Add all that is written, then one check.
// Errors: Failure if the file cannot be read, or the audio is not the same.
class Verification {
public:
    // `file` is its name for messages.
    Verification(const std::filesystem::path& file, const XAudioWFX& format)
        : file_(file), format_(format), written_(format) {}

    void Add(std::span<const uint8_t> audio) {
        written_.Add(audio);
        bytes_ += std::ssize(audio);
    }

    // Reads back the audio of `copy`, a file of linear samples of any kind.
    void CheckAudio(const std::filesystem::path& copy, const CommandContext& context);

    // Reads back the bytes in the audio chunk of `copy`, a Wave64 file.
    void CheckAudioChunk(const std::filesystem::path& copy);

    // Reads back all bytes of `copy`.
    void CheckFile(const std::filesystem::path& copy);

private:
    void CheckBytes(XFile& copy, int64_t position, int64_t bytes);
    void CheckDigest(AudioMD5& read);
    [[noreturn]] void Refuse(const std::string& reason) const;

    std::filesystem::path file_;
    XAudioWFX format_;
    AudioMD5 written_;
    int64_t bytes_ = 0;
};

}  // namespace w64
