#include "host/decoder/ReportPipe.h"

#include "base/Platform.h"
#include "host/terminal/Failure.h"

namespace w64 {

namespace {

std::pair<Descriptor, Descriptor> MakePipe() {
    int ends[2];
    if (!Platform::MakePipe(ends)) throw SystemFailure("cannot keep the decoder's reports");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
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
