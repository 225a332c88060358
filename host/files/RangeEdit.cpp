#include "host/files/RangeEdit.h"

#include "host/terminal/Failure.h"

#include <algorithm>
#include <iterator>
#include <span>
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

// Where a file grows, or grows back as an edit is undone, bytes that are not written yet are zero.
bool IsOldOrNew(const ByteRange& range, size_t i, uint8_t byte) {
    const auto at = [i](const std::vector<uint8_t>& bytes) { return i < bytes.size() ? bytes[i] : 0; };
    return byte == at(range.before) || byte == at(range.after);
}

bool AreOldOrNew(const ByteRange& range, XFile& file, int64_t length) {
    const int64_t end = std::min(length, std::max(EndOf(range, range.before), EndOf(range, range.after)));
    const std::vector<uint8_t> bytes = ReadUpTo(file, range.position, end - range.position);
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (!IsOldOrNew(range, i, bytes[i])) return false;
    }
    return EndOf(range, bytes) >= end;
}

void WriteAt(XFile& file, int64_t position, std::span<const uint8_t> bytes) {
    if (!file.SetPosition(position) || !file.Write(bytes.data(), bytes.size()))
        throw SystemFailure("cannot write");
}

void WriteAll(XFile& file, const ByteRange& range) { WriteAt(file, range.position, range.after); }

void WriteWhatDiffers(XFile& file, const ByteRange& range) {
    const std::span<const uint8_t> after = range.after;
    const std::vector<uint8_t> there = ReadUpTo(file, range.position, std::ssize(after));
    if (there.size() < after.size()) throw SystemFailure("cannot read");
    const auto first = std::mismatch(after.begin(), after.end(), there.begin()).first;
    const auto last = std::mismatch(after.rbegin(), after.rend(), there.rbegin()).first.base();
    if (first != after.end()) WriteAt(file, range.position + (first - after.begin()), {first, last});
}

void Make(const RangeEdit& edit, XFile& file, void (*write)(XFile&, const ByteRange&)) {
    // Disk space is taken first, so that a full disk is noticed before anything is changed.
    if (file.Size() < edit.lengthAfter && !file.Extend(edit.lengthAfter)) throw SystemFailure("cannot write");
    for (const ByteRange& range : edit.ranges) write(file, range);
    if (file.Size() != edit.lengthAfter && !file.SetFileSize(edit.lengthAfter))
        throw SystemFailure("cannot write");
    if (::fsync(file.Descriptor()) != 0) throw SystemFailure("cannot write");
}

}  // namespace

int64_t RangeEdit::Bytes() const {
    size_t bytes = 0;
    for (const ByteRange& range : ranges) bytes += range.before.size() + range.after.size();
    return static_cast<int64_t>(bytes);
}

bool RangeEdit::IsSound() const {
    if (lengthBefore < 0 || lengthAfter < 0 || lengthAfter - lengthBefore > kMaxGrowth) return false;
    int64_t end = 0;  // of the range before
    int64_t uncovered = lengthBefore - lengthAfter;
    for (const ByteRange& range : ranges) {
        const auto before = std::ssize(range.before);
        const auto after = std::ssize(range.after);
        const int64_t bytes = std::max(before, after);
        if (range.position < end || before != std::clamp<int64_t>(lengthBefore - range.position, 0, bytes) ||
            after != std::clamp<int64_t>(lengthAfter - range.position, 0, bytes)) {
            return false;
        }
        end = range.position + bytes;
        uncovered -= before - after;
    }
    return uncovered <= 0;
}

bool RangeEdit::MayHaveLeft(XFile& file) const {
    const int64_t length = file.Size();
    const auto [shorter, longer] = std::minmax(lengthBefore, lengthAfter);
    return length >= shorter && length <= longer && std::ranges::all_of(ranges, [&](const ByteRange& range) {
               return AreOldOrNew(range, file, length);
           });
}

// Bytes that read as new are written too: after a failed sync they may be in memory only, and count as clean.
void RangeEdit::Apply(XFile& file) const { Make(*this, file, WriteAll); }

// Writes only what differs: to undo an edit for which the disk had no room then needs none either.
void RangeEdit::Undo(XFile& file) const {
    RangeEdit reverse = *this;
    std::swap(reverse.lengthBefore, reverse.lengthAfter);
    for (ByteRange& range : reverse.ranges) std::swap(range.before, range.after);
    Make(reverse, file, WriteWhatDiffers);
}

}  // namespace w64
