#include "host/decoder/ReportPipe.h"

#include "host/terminal/Failure.h"

#include <fcntl.h>

namespace w64 {

namespace {

// The end to read from, then the end to write to. Neither blocks.
std::pair<Descriptor, Descriptor> MakePipe() {
    int ends[2];
    if (::pipe(ends) != 0) throw SystemFailure("cannot keep the decoder's reports");
    std::pair<Descriptor, Descriptor> pipe{ends[0], ends[1]};
    for (const int end : ends) {
        if (::fcntl(end, F_SETFL, O_NONBLOCK) != 0 || ::fcntl(end, F_SETFD, FD_CLOEXEC) != 0) {
            throw SystemFailure("cannot keep the decoder's reports");
        }
    }
    return pipe;
}

}  // namespace

ReportPipe::ReportPipe() : ReportPipe(MakePipe()) {}

ReportPipe::ReportPipe(std::pair<Descriptor, Descriptor> ends)
    : output_(std::move(ends.first)), input_(std::move(ends.second)) {}

const std::string& ReportPipe::Beginning() {
    std::string more(kBeginning - beginning_.size(), '\0');
    while (!more.empty()) {
        const ssize_t bytes = ::read(output_.Number(), more.data(), more.size());
        if (bytes < 0 && errno == EINTR) continue;
        if (bytes <= 0) break;
        beginning_.append(more, 0, static_cast<size_t>(bytes));
        more.resize(kBeginning - beginning_.size());
    }
    return beginning_;
}

}  // namespace w64
