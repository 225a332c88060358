#include "host/formats/SoundFileOutput.h"

#include "base/LittleEndian.h"
#include "base/StdioFile.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <unistd.h>

namespace w64 {

namespace {

// The library writes a PEAK chunk to RF64 even when told not to. As it gets bytes and not samples, all peaks in it
// would be 0, and its time stamp would make the files of equal audio differ.
void BlankPeaks(std::string& header) {
    if (!header.starts_with("RIFF") && !header.starts_with("RF64")) return;
    for (size_t at = 12; at + 8 <= header.size();) {
        const size_t size = base::Load<uint32_t>(header.data() + at + 4);
        if (size > header.size() - at - 8) return;
        if (header.compare(at, 4, "PEAK") == 0) {
            header.replace(at, 4, "JUNK");
            header.replace(at + 8, size, size, '\0');
        }
        at += 8 + size + size % 2;
    }
}

class FileOutput : public SoundFileOutput {
public:
    explicit FileOutput(XFile& file) { file_.Open(file.Handle()); }

protected:
    int64_t Size() const override { return file_.Size(); }
    int64_t Position() const override { return file_.GetPosition(); }
    bool SetPosition(int64_t position) override { return file_.SetPosition(position); }
    size_t Read(void* data, size_t bytes) override { return file_.Read(data, bytes); }
    bool Write(const void* data, size_t bytes) override { return file_.Write(data, bytes); }

    XFile file_;  // a view
};

class DetourOutput : public FileOutput {
public:
    DetourOutput(XFile& stream, XFile& view, StdioFile detour)
        : FileOutput(view), stream_(stream), detour_(std::move(detour)) {}

    void Finish() override {
        std::array<uint8_t, 65536> bytes;
        if (!file_.SetPosition(0)) throw SystemFailure("cannot read back a temporary file");
        while (const size_t got = file_.Read(bytes.data(), bytes.size())) {
            if (!stream_.Write(bytes.data(), got)) throw SystemFailure("cannot write");
        }
    }

private:
    XFile& stream_;
    StdioFile detour_;
};

}  // namespace

bool HeaderOutput::Write(const void* data, size_t bytes) {
    if (position_ == 0) header_.assign(static_cast<const char*>(data), bytes);
    position_ += static_cast<int64_t>(bytes);
    size_ = std::max(size_, position_);
    return true;
}

// The library writes a header in one piece.
bool SoundFileOutput::Take(const void* data, size_t bytes) {
    if (Position() != 0) return Write(data, bytes);
    std::string header(static_cast<const char*>(data), bytes);
    BlankPeaks(header);
    return Write(header.data(), bytes);
}

SF_VIRTUAL_IO* SoundFileOutput::Calls() {
    static constexpr auto of = [](void* output) -> SoundFileOutput& {
        return *static_cast<SoundFileOutput*>(output);
    };
    static SF_VIRTUAL_IO calls = {
        [](void* output) -> sf_count_t { return of(output).Size(); },
        [](sf_count_t offset, int whence, void* output) -> sf_count_t {
            const sf_count_t from = whence == SEEK_SET   ? 0
                                    : whence == SEEK_CUR ? of(output).Position()
                                                         : of(output).Size();
            return of(output).SetPosition(from + offset) ? from + offset : -1;
        },
        [](void* data, sf_count_t bytes, void* output) -> sf_count_t {
            return static_cast<sf_count_t>(of(output).Read(data, static_cast<size_t>(bytes)));
        },
        [](const void* data, sf_count_t bytes, void* output) -> sf_count_t {
            if (of(output).Take(data, static_cast<size_t>(bytes))) return bytes;
            of(output).writeError_ = errno;
            return 0;
        },
        [](void* output) -> sf_count_t { return of(output).Position(); },
    };
    return &calls;
}

std::unique_ptr<SoundFileOutput> MakeFileOutput(XFile& file) { return std::make_unique<FileOutput>(file); }

std::unique_ptr<SoundFileOutput> MakeDetourOutput(XFile& stream) {
    StdioFile detour(std::tmpfile());
    if (!detour) throw SystemFailure("cannot create a temporary file");
    XFile view;
    view.Open(reinterpret_cast<void*>(intptr_t{::fileno(detour.get())}));
    return std::make_unique<DetourOutput>(stream, view, std::move(detour));
}

}  // namespace w64
