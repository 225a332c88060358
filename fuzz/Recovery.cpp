// What an interrupted edit has left, or somebody has made up: a journal of any bytes next to a file.

#include "Input.h"
#include "MemoryFile.h"
#include "TempFolder.h"
#include "host/files/JournalledEdit.h"

namespace w64 {

namespace {

namespace fs = std::filesystem;

constexpr const char* kJournal = ".a.w64.w64-journal";

uint32_t CRC32(const Bytes& bytes) {
    uint32_t rest = ~uint32_t{0};
    for (const uint8_t byte : bytes) {
        rest ^= byte;
        for (int bit = 0; bit < 8; ++bit) rest = rest & 1 ? rest >> 1 ^ 0xEDB88320 : rest >> 1;
    }
    return ~rest;
}

// A folder with a file, a neighbour and perhaps a journal.
class Place {
public:
    explicit Place(const Bytes& contents) {
        folder_.Write("a.w64", contents);
        folder_.Write("b.w64", kNeighbour);
    }

    void WriteJournal(const Bytes& bytes) const { folder_.Write(kJournal, bytes); }
    Journal TheJournal() const { return Journal::Of(folder_.Path() / "a.w64"); }
    Bytes Contents() const { return ReadBytes(folder_.Path() / "a.w64"); }

    // Whether the edit was finished, or there was none; else both files stay.
    bool Recover() const {
        const Bytes before = Contents();
        const bool isDone = Finish();
        Require(fs::exists(folder_.Path() / kJournal) == !isDone,
                "the journal stays if and only if it is not finished");
        Require(isDone || Contents() == before, "a journal of another file, or of none, changes nothing");
        Require(ReadBytes(folder_.Path() / "b.w64") == kNeighbour, "no other file is touched");
        const auto files = std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator());
        Require(files == (isDone ? 2 : 3), "nothing is left over");
        return isDone;
    }

private:
    bool Finish() const try {
        Console console({.quiet = true});
        LockedFile file(folder_.Path() / "a.w64");
        FinishInterruptedEdit(file, TheJournal(), console);
        return true;
    } catch (const Failure&) {
        return false;
    }

    const Bytes kNeighbour = Pattern(300);
    TempFolder folder_;
};

Bytes Patched(Bytes file, const RangeEdit& edit) {
    file.resize(static_cast<size_t>(edit.lengthAfter));
    for (const ByteRange& range : edit.ranges)
        std::ranges::copy(range.after, file.begin() + static_cast<std::ptrdiff_t>(range.position));
    return file;
}

std::optional<RangeEdit> ReadEdit(const Place& place) try {
    return place.TheJournal().Read();
} catch (const Failure&) {
    return {};
}

// Ranges of a file as an edit leaves them: in order, with all old bytes and all new ones that there are.
RangeEdit AnyEdit(const Bytes& file, Input& in) {
    RangeEdit edit;
    edit.lengthBefore = std::ssize(file);
    edit.lengthAfter = in.Byte() % 2 == 0 ? edit.lengthBefore : in.Below(2 * file.size() + 9);
    const auto longer = static_cast<uint32_t>(std::max(edit.lengthBefore, edit.lengthAfter));
    const auto shorter = static_cast<uint32_t>(std::min(edit.lengthBefore, edit.lengthAfter));
    for (uint32_t at = in.Below(80); at < shorter; at += 1 + in.Below(80)) {
        const uint32_t end = std::min(shorter, at + in.Below(40));
        edit.ranges.push_back({at, Slice(file, at, end), Resized(in.Take(end - at), end - at)});
        at = end;
    }
    if (longer > shorter) {
        const size_t added = static_cast<size_t>(edit.lengthAfter) - shorter;
        edit.ranges.push_back({shorter, Slice(file, shorter), Resized(in.Take(added), added)});
        std::erase_if(edit.ranges, [&](const ByteRange& range) {
            return &range != &edit.ranges.back() && range.position + std::ssize(range.before) > shorter;
        });
    }
    return edit;
}

// Any of its bytes are written, and the file has any length between.
Bytes Interrupted(const Bytes& file, const RangeEdit& edit, Input& in) {
    const auto [shorter, longer] = std::minmax(edit.lengthBefore, edit.lengthAfter);
    const auto length = static_cast<size_t>(shorter) + in.Below(static_cast<size_t>(longer - shorter) + 1);
    Bytes state = Resized(file, std::max(length, file.size()));
    for (const ByteRange& range : edit.ranges) {
        for (size_t i = 0; i < range.after.size(); ++i) {
            const size_t at = static_cast<size_t>(range.position) + i;
            if (at < state.size() && in.Byte() % 2 == 1) state[at] = range.after[i];
        }
    }
    return Resized(state, length);
}

// Whether an interruption may have left these bytes: all in the ranges are old or new, or not written yet.
bool MayBeLeft(const Bytes& state, const RangeEdit& edit) {
    const auto [shorter, longer] = std::minmax(edit.lengthBefore, edit.lengthAfter);
    if (std::ssize(state) < shorter || std::ssize(state) > longer) return false;
    for (const ByteRange& range : edit.ranges) {
        const size_t bytes = std::max(range.before.size(), range.after.size());
        const auto from = static_cast<size_t>(range.position);
        const Bytes old = Resized(range.before, bytes), edited = Resized(range.after, bytes);
        for (size_t i = 0; i < bytes && from + i < state.size(); ++i)
            if (state[from + i] != old[i] && state[from + i] != edited[i]) return false;
    }
    return true;
}

// At times somebody has changed the file since, or it is another one.
void TryInterruptedEdit(Input& in) {
    const Bytes file = Pattern(in.Below(1500));
    const RangeEdit edit = AnyEdit(file, in);
    Require(edit.IsSound(), "an edit as tag editors make them is sound");
    Bytes state = Interrupted(file, edit, in);
    for (int left = in.Byte() % 8 - 4; left > 0 && !state.empty(); --left)
        state[in.Below(state.size())] ^= 1 + in.Byte() % 4;
    if (in.Byte() % 16 == 15) state.resize(in.Below(2000));
    const Place place(state);
    place.TheJournal().Write(edit);
    Require(place.Recover() == MayBeLeft(state, edit),
            "an edit is finished in its own file, as it was left, alone");
    if (MayBeLeft(state, edit))
        Require(place.Contents() == Patched(state, edit), "the file is that of the finished edit");
}

void TryForeignJournal(Input& in, bool isSealed) {
    const Bytes file = in.Take(in.Byte());
    Bytes journal = in.Rest();
    if (isSealed) Append(journal, CRC32(journal));
    const Place place(file);
    place.WriteJournal(journal);
    const std::optional<RangeEdit> edit = ReadEdit(place);
    if (!place.Recover()) return;
    Require(place.Contents() == (edit ? Patched(file, *edit) : file), "the file is old or new");
}

}  // namespace

}  // namespace w64

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    w64::KeepFoldersInMemory();
    w64::LimitFiles(1 << 20);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    w64::Input in(data, size);
    const uint8_t kind = in.Byte() % 4;
    if (kind < 2) {
        w64::TryInterruptedEdit(in);
    } else {
        w64::TryForeignJournal(in, kind == 2);
    }
    return 0;
}
