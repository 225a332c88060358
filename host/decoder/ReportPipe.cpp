#include "host/decoder/ReportPipe.h"

#include "base/Platform.h"
#include "host/terminal/Failure.h"

#include <array>
#include <mutex>
#include <new>
#include <vector>

namespace w64 {

namespace {

Pipe MakePipe() {
    int ends[2];
    if (!Platform::MakePipe(ends)) throw SystemFailure("cannot keep the decoder's reports");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// Threads: any.
class IdlePipes {
public:
    void Keep(bool keeps) {
        const std::lock_guard lock(access_);
        keeps_ = keeps;
        if (!keeps) pipes_.clear();
    }

    Pipe Take() {
        const std::lock_guard lock(access_);
        if (pipes_.empty()) return MakePipe();
        Pipe pipe = std::move(pipes_.back());
        pipes_.pop_back();
        return pipe;
    }

    void Give(Pipe pipe) {
        const std::lock_guard lock(access_);
        if (keeps_) pipes_.push_back(std::move(pipe));
    }

private:
    std::mutex access_;
    bool keeps_ = false;
    std::vector<Pipe> pipes_;
};

IdlePipes& Idle() {
    static IdlePipes pipes;
    return pipes;
}

// Up to `bytes` of what is in a pipe; 0 when it is empty.
size_t ReadSome(const Pipe& pipe, char* to, size_t bytes) {
    while (true) {
        const ssize_t got = ::read(pipe.output.Number(), to, bytes);
        if (got >= 0) return static_cast<size_t>(got);
        if (errno != EINTR) return 0;
    }
}

}  // namespace

ReportPipe::Reuse::Reuse() { Idle().Keep(true); }
ReportPipe::Reuse::~Reuse() { Idle().Keep(false); }

ReportPipe::ReportPipe() : pipe_(Idle().Take()) {}

ReportPipe::~ReportPipe() {
    std::array<char, kBeginning> rest;
    while (ReadSome(pipe_, rest.data(), rest.size()) > 0) {
    }
    try {
        Idle().Give(std::move(pipe_));
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): it is closed instead
    }
}

const std::string& ReportPipe::Beginning() {
    std::array<char, kBeginning> more;  // filled before it is read
    while (beginning_.size() < kBeginning) {
        const size_t bytes = ReadSome(pipe_, more.data(), kBeginning - beginning_.size());
        if (bytes == 0) break;
        beginning_.append(more.data(), bytes);
    }
    return beginning_;
}

}  // namespace w64
