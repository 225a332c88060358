#include "host/files/RangeEdit.h"

#include "host/terminal/Failure.h"

#include <algorithm>
#include <unistd.h>

namespace w64 {

namespace {

std::vector<uint8_t> ReadUpTo(XFile& file, int64_t position, int64_t bytes) {
    std::vector<uint8_t> read(static_cast<size_t>(std::max<int64_t>(bytes, 0)));
    if (!file.SetPosition(position)) throw SystemFailure("cannot read");
    read.resize(file.Read(read.data(), read.size()));
    return read;
}

int64_t EndOf(const ByteRange& range, const std::vector<uint8_t>& bytes) {
    return range.position + static_cast<int64_t>(bytes.size());
}

// Where a file has grown, bytes that are not written yet are zero.
bool IsOldOrNew(const ByteRange& range, size_t i, uint8_t byte) {
    const uint8_t old = i < range.before.size() ? range.before[i] : 0;
    return byte == old || (i < range.after.size() && byte == range.after[i]);
}

bool AreOldOrNew(const ByteRange& range, XFile& file, int64_t length) {
    const int64_t end = std::min(length, std::max(EndOf(range, range.before), EndOf(range, range.after)));
    const std::vector<uint8_t> bytes = ReadUpTo(file, range.position, end - range.position);
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (!IsOldOrNew(range, i, bytes[i])) return false;
    }
    return EndOf(range, bytes) >= end;
}

// Writes only what differs: to undo an edit for which the disk had no room then needs none either.
void WriteRange(XFile& file, const ByteRange& range) {
    const std::vector<uint8_t>& after = range.after;
    const std::vector<uint8_t> there = ReadUpTo(file, range.position, static_cast<int64_t>(after.size()));
    if (there.size() < after.size()) throw SystemFailure("cannot read");
    const auto first = std::mismatch(after.begin(), after.end(), there.begin()).first;
    const auto last = std::mismatch(after.rbegin(), after.rend(), there.rbegin()).first.base();
    if (first == after.end()) return;
    if (!file.SetPosition(range.position + (first - after.begin())) ||
        !file.Write(&*first, static_cast<size_t>(last - first))) {
        throw SystemFailure("cannot write");
    }
}

}  // namespace

int64_t RangeEdit::Bytes() const {
    size_t bytes = 0;
    for (const ByteRange& range : ranges) bytes += range.before.size() + range.after.size();
    return static_cast<int64_t>(bytes);
}

bool RangeEdit::IsSound() const {
    const auto fits = [](const std::vector<uint8_t>& bytes, int64_t position, int64_t length) {
        return bytes.empty() || static_cast<int64_t>(bytes.size()) <= length - position;
    };
    return lengthBefore >= 0 && lengthAfter >= 0 && lengthAfter - lengthBefore <= kMaxGrowth &&
           std::ranges::all_of(ranges, [&](const ByteRange& range) {
               return range.position >= 0 && fits(range.before, range.position, lengthBefore) &&
                      fits(range.after, range.position, lengthAfter);
           });
}

bool RangeEdit::MayHaveLeft(XFile& file) const {
    const int64_t length = file.Size();
    const auto [shorter, longer] = std::minmax(lengthBefore, lengthAfter);
    return length >= shorter && length <= longer && std::ranges::all_of(ranges, [&](const ByteRange& range) {
               return AreOldOrNew(range, file, length);
           });
}

void RangeEdit::Apply(XFile& file) const {
    // Disk space is taken first, so that a full disk is noticed before anything is changed.
    if (file.Size() < lengthAfter && !file.Extend(lengthAfter)) throw SystemFailure("cannot write");
    for (const ByteRange& range : ranges) WriteRange(file, range);
    if (file.Size() != lengthAfter && !file.SetFileSize(lengthAfter)) throw SystemFailure("cannot write");
    if (::fsync(file.Descriptor()) != 0) throw SystemFailure("cannot write");
}

RangeEdit RangeEdit::Reverse() const {
    RangeEdit reverse = *this;
    std::swap(reverse.lengthBefore, reverse.lengthAfter);
    for (ByteRange& range : reverse.ranges) std::swap(range.before, range.after);
    return reverse;
}

}  // namespace w64
