// An edit that moves all of the audio, against a bare loop that moves the same bytes by as much.

#include "BenchFile.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

namespace w64 {

namespace {

constexpr size_t kAudioBytes = size_t{256} << 20;
constexpr size_t kTagBytes = 4096;  // of the chunk that is added and removed before the audio
constexpr off_t kMovedFrom = 80;
constexpr off_t kMovedBytes = off_t{kAudioBytes} + 24;

class MovedFile : public BenchFile {
public:
    explicit MovedFile(const std::string& name)
        : BenchFile(name, 0, 0, kAudioBytes), descriptor_(::open(Path().c_str(), O_RDWR)) {}
    ~MovedFile() { ::close(descriptor_); }
    int Descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

void MoveAudioByEdits(benchmark::State& state) {
    static const MovedFile file("w64-edit");
    std::vector<char> tag(kTagBytes);
    base::Store(tag.data(), RIFFChnkID("LIST"));
    const auto edit = [&](bool insert) {
        clWave64Handler handler;
        if (!handler.Initialize(reinterpret_cast<void*>(intptr_t{file.Descriptor()}), {})) return false;
        return insert ? handler.InsertNewChunkIntoFile(1, tag.data(), kTagBytes, 2, 0)
                      : handler.RemoveChunkFromFile(1, 2);
    };
    for ([[maybe_unused]] auto _ : state) {
        if (!edit(true) || !edit(false)) state.SkipWithError("the edit failed");
    }
    state.SetBytesProcessed(state.iterations() * 2 * int64_t{kMovedBytes});
}
BENCHMARK(MoveAudioByEdits)->Unit(benchmark::kMillisecond);

void MoveAudioByBareLoops(benchmark::State& state) {
    static const MovedFile file("w64-move");
    std::vector<char> block(65536);
    const auto move = [&](off_t from, off_t to, off_t bytes) {
        const auto count = static_cast<size_t>(bytes);
        return ::pread(file.Descriptor(), block.data(), count, from) == bytes &&
               ::pwrite(file.Descriptor(), block.data(), count, to) == bytes;
    };
    bool good = true;
    for ([[maybe_unused]] auto _ : state) {
        for (off_t left = kMovedBytes; left > 0;) {
            const off_t bytes = std::min<off_t>(65536, left);
            left -= bytes;
            good &= move(kMovedFrom + left, kMovedFrom + off_t{kTagBytes} + left, bytes);
        }
        for (off_t done = 0; done < kMovedBytes; done += 65536) {
            const off_t bytes = std::min<off_t>(65536, kMovedBytes - done);
            good &= move(kMovedFrom + off_t{kTagBytes} + done, kMovedFrom + done, bytes);
        }
        good &= ::ftruncate(file.Descriptor(), kMovedFrom + kMovedBytes) == 0;
    }
    if (!good) state.SkipWithError("the loop failed");
    state.SetBytesProcessed(state.iterations() * 2 * int64_t{kMovedBytes});
}
BENCHMARK(MoveAudioByBareLoops)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace w64
