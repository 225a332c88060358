#include "host/files/Journal.h"

#include "base/LittleEndian.h"
#include "base/XStr.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace w64 {

namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::string_view kMagic = "W64JRNL1";
constexpr std::string_view kEnding = ".w64-journal";
constexpr size_t kMaxNameBytes = 255;

constexpr std::array<uint32_t, 256> kRemainders = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        uint32_t rest = i;
        for (int bit = 0; bit < 8; ++bit) rest = rest & 1 ? rest >> 1 ^ 0xEDB88320 : rest >> 1;
        table[i] = rest;
    }
    return table;
}();

uint32_t CRC32(std::span<const uint8_t> bytes) {
    uint32_t rest = ~uint32_t{0};
    for (const uint8_t byte : bytes) rest = kRemainders[(rest ^ byte) & 0xFF] ^ rest >> 8;
    return ~rest;
}

std::string NameFor(const std::string& name) {
    std::string whole = "." + name + std::string(kEnding);
    if (whole.size() <= kMaxNameBytes) return whole;
    char hash[10];
    std::snprintf(hash, sizeof hash, ".%08x", CRC32(Bytes(name.begin(), name.end())));
    return hash + std::string(kEnding);
}

template <class T>
void Append(Bytes& out, T number) {
    const size_t end = out.size();
    out.resize(end + sizeof number);
    base::Store(out.data() + end, number);
}

Bytes Packed(const RangeEdit& edit) {
    Bytes out(kMagic.begin(), kMagic.end());
    Append(out, edit.lengthBefore);
    Append(out, edit.lengthAfter);
    Append(out, uint64_t{edit.ranges.size()});
    for (const ByteRange& range : edit.ranges) {
        Append(out, range.position);
        Append(out, uint64_t{range.before.size()});
        Append(out, uint64_t{range.after.size()});
        out.insert(out.end(), range.before.begin(), range.before.end());
        out.insert(out.end(), range.after.begin(), range.after.end());
    }
    Append(out, CRC32(out));
    return out;
}

// Reads what Packed has written. A right checksum proves nothing: every number is checked, and `problem` says so.
class Unpacker {
public:
    Unpacker(std::span<const uint8_t> bytes, const std::string& problem) : left_(bytes), problem_(problem) {}

    template <class T>
    T Number() {
        return base::Load<T>(Take(sizeof(T)).data());
    }
    Bytes Take(uint64_t count) {
        if (count > left_.size()) throw Failure(problem_);
        const auto taken = left_.first(static_cast<size_t>(count));
        left_ = left_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }

private:
    std::span<const uint8_t> left_;
    const std::string& problem_;
};

RangeEdit Unpacked(std::span<const uint8_t> bytes, const std::string& problem) {
    Unpacker in(bytes, problem);
    in.Take(kMagic.size());
    RangeEdit edit;
    edit.lengthBefore = in.Number<int64_t>();
    edit.lengthAfter = in.Number<int64_t>();
    for (auto left = in.Number<uint64_t>(); left > 0; --left) {
        ByteRange& range = edit.ranges.emplace_back();
        range.position = in.Number<int64_t>();
        const auto before = in.Number<uint64_t>();
        const auto after = in.Number<uint64_t>();
        range.before = in.Take(before);
        range.after = in.Take(after);
    }
    if (!edit.IsSound()) throw Failure(problem);
    return edit;
}

bool BelongsTo(uid_t owner, const XFile& file) {
    struct stat status {};
    if (::fstat(file.Descriptor(), &status) != 0) return false;
    return status.st_uid == owner || status.st_uid == ::geteuid() || status.st_uid == 0;
}

// A crash can leave some of the first bytes, or zeros.
bool IsJournal(const Bytes& bytes) {
    const size_t count = std::min(bytes.size(), kMagic.size());
    return std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count), kMagic.begin(),
                      [](uint8_t a, char b) { return a == 0 || a == static_cast<uint8_t>(b); });
}

bool IsWhole(const Bytes& bytes) {
    if (bytes.size() < kMagic.size() + sizeof(uint32_t)) return false;
    const auto counted = std::span(bytes).first(bytes.size() - sizeof(uint32_t));
    return bytes[0] != 0 && base::Load<uint32_t>(bytes.data() + counted.size()) == CRC32(counted);
}

}  // namespace

Journal Journal::Of(const fs::path& file) {
    Journal journal(file.parent_path() / NameFor(file.filename().native()));
    struct stat status {};
    journal.trusted_ = ::stat(file.c_str(), &status) == 0 ? status.st_uid : ::geteuid();
    return journal;
}

bool Journal::IsThere() const {
    std::error_code error;
    return fs::exists(fs::symlink_status(path_, error));
}

std::optional<RangeEdit> Journal::Read() const {
    if (!IsThere()) return {};
    const std::string name = "'" + path_.native() + "'";
    const std::string taken =
        name + ", the name of the journal of an edit, is taken by something else; rename that";
    if (std::error_code error; !fs::is_regular_file(fs::symlink_status(path_, error))) throw Failure(taken);
    XFile file;
    if (!file.Open(FromFileName(path_.native()), XFile::Access::Read))
        throw SystemFailure("cannot open " + name);
    if (file.Size() > kMaxBytes) throw Failure(taken);
    Bytes bytes(static_cast<size_t>(std::max<int64_t>(file.Size(), 0)));
    if (file.Read(bytes.data(), bytes.size()) < bytes.size()) throw SystemFailure("cannot read " + name);
    if (!IsJournal(bytes)) throw Failure(taken);
    if (!IsWhole(bytes)) return {};
    if (trusted_ && !BelongsTo(*trusted_, file)) {
        throw Failure("the journal of an edit, " + name +
                      ", belongs to another user; if you trust it, w64 repair --journal finishes the edit");
    }
    return Unpacked(std::span(bytes).first(bytes.size() - sizeof(uint32_t)),
                    "the journal of an edit, " + name + ", contradicts itself; delete it");
}

void Journal::Write(const RangeEdit& edit) const {
    const std::string cannot = "cannot write the journal of the edit, '" + path_.native() + "'";
    const Bytes bytes = Packed(edit);
    XFile file;
    if (!file.Open(FromFileName(path_.native()), XFile::Access::CreatePrivate)) {
        if (errno == EEXIST) throw Failure("is being edited by another program; try again when that is done");
        throw JournalFailure(SystemFailure(cannot).what());
    }
    if (file.Write(bytes.data(), bytes.size()) && ::fsync(file.Descriptor()) == 0 &&
        XFile::SyncFolder(path_.parent_path().native())) {
        return;
    }
    const std::string reason = SystemFailure(cannot).what();
    ::unlink(path_.c_str());
    throw JournalFailure(reason);
}

void Journal::Remove(const std::string& outcome) const {
    // Where there are no locks, somebody else may have finished the edit.
    const bool gone = ::unlink(path_.c_str()) == 0 || errno == ENOENT;
    if (gone && XFile::SyncFolder(path_.parent_path().native())) return;
    throw SystemFailure(outcome + ", but its journal '" + path_.native() + "' cannot be removed");
}

}  // namespace w64
