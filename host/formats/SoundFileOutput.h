#pragma once

#include "base/XFile.h"

#include <cstdint>
#include <memory>
#include <sndfile.h>
#include <string>

namespace w64 {

// Where libsndfile writes a file. It seeks back to complete the header, so a stream needs a detour.
// Errors: kept as WriteError, since the library ignores some results; Finish throws Failure.
class SoundFileOutput {
public:
    SoundFileOutput() = default;
    SoundFileOutput(const SoundFileOutput&) = delete;  // libsndfile holds its address
    SoundFileOutput& operator=(const SoundFileOutput&) = delete;
    virtual ~SoundFileOutput() = default;

    virtual void Finish() {}  // call when libsndfile is done

    int WriteError() const { return writeError_; }  // an errno, 0 for none

    // For sf_open_virtual, with a SoundFileOutput* as user data.
    static SF_VIRTUAL_IO* Calls();

protected:
    virtual int64_t Size() const = 0;
    virtual int64_t Position() const = 0;
    virtual bool SetPosition(int64_t position) = 0;
    virtual size_t Read(void* data, size_t bytes) = 0;
    virtual bool Write(const void* data, size_t bytes) = 0;

private:
    bool Take(const void* data, size_t bytes);

    int writeError_ = 0;
};

std::unique_ptr<SoundFileOutput> MakeFileOutput(XFile& file);

// Collects the output in an unnamed temporary file, and copies it to the stream once it is complete.
std::unique_ptr<SoundFileOutput> MakeDetourOutput(XFile& stream);

// Keeps only the header that was written last, and drops the audio.
class HeaderOutput : public SoundFileOutput {
public:
    const std::string& Header() const { return header_; }

protected:
    int64_t Size() const override { return size_; }
    int64_t Position() const override { return position_; }
    bool SetPosition(int64_t position) override {
        position_ = position;
        return true;
    }
    size_t Read(void* /*data*/, size_t /*bytes*/) override { return 0; }
    bool Write(const void* data, size_t bytes) override;

private:
    std::string header_;
    int64_t position_ = 0;
    int64_t size_ = 0;
};

}  // namespace w64
