#pragma once

#include "Bytes.h"

#include <string>

namespace w64 {

inline Bytes Slice(const Bytes& bytes, size_t at, size_t size) {
    return {bytes.data() + at, bytes.data() + at + size};
}

inline Bytes Concat(Bytes front, const Bytes& back) {
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

enum class Op { Insert, Resize, Remove };

struct Edit {
    Op op;
    int index;
    uint32_t size = 0;  // of the whole chunk
    int mode = 0;
    int paddingSize = 0;
};

// A second implementation of edits, for files of less than 2 GiB in memory.
class EditModel {
public:
    EditModel(Bytes bytes, bool isSafe) : file(std::move(bytes)), isSafe_(isSafe) {
        const auto end = base::Load<int64_t>(file.data() + 16);
        // The exact rules ignore a header with nothing after it.
        const int64_t lastHeader = std::min(end - (isSafe ? 24 : 25), std::ssize(file) - 24);
        for (int64_t at = 40; at <= lastHeader;) {
            const uint8_t* header = file.data() + at;
            if (base::Load<uint64_t>(header + 16) < 24) break;
            const auto size =
                static_cast<int64_t>(std::min(base::Load<uint64_t>(header + 16), uint64_t(end - at)));
            list_.push_back({Bytes(header, header + 16), size - 24, 0, false});
            at = Up(at + size);
        }
        Place();
    }

    // `chunk` begins with an identifier as in a file.
    void Apply(const Edit& edit, const Bytes& chunk) {
        if (edit.op == Op::Insert) Insert(edit.index, chunk, edit.mode, edit.paddingSize);
        if (edit.op == Op::Resize) Resize(edit.index, chunk, edit.mode, edit.paddingSize);
        if (edit.op == Op::Remove) Remove(edit.index, edit.mode);
    }

    std::vector<std::string> Codes() const {
        std::vector<std::string> codes;
        for (const Record& record : list_) codes.emplace_back(record.id.begin(), record.id.begin() + 4);
        return codes;
    }

    static Bytes Id(const std::string& code) {
        return Concat(Bytes(code.begin(), code.end()),
                      {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A});
    }

    Bytes file;

private:
    struct Record {
        Bytes id;
        int64_t size;  // of the data
        int64_t position;
        bool write;
    };

    static int64_t Up(int64_t n) { return (n + 7) / 8 * 8; }
    int Count() const { return static_cast<int>(list_.size()); }
    Record& At(int index) { return list_[static_cast<size_t>(index)]; }
    bool IsPadding(int index) {
        return index < Count() && (At(index).id == Id("junk") || At(index).id == Id("pad "));
    }
    // Bytes that a chunk occupies; the exact rules do not count its padding.
    int64_t Room(const Record& record) const {
        return isSafe_ ? std::min(Up(24 + record.size), std::ssize(file) - record.position)
                       : 24 + record.size;
    }
    static Bytes Padding(int mode, int size) {
        if (mode == 2) return {};
        Bytes chunk = Id(mode == 0 ? "junk" : "pad ");
        chunk.resize(static_cast<size_t>(Up(size == 0 ? 2048 : std::max(size, 256))));
        return chunk;
    }

    void Insert(int index, const Bytes& chunk, int mode, int paddingSize) {
        if (index < 0 || index > Count()) index = Count();
        const int64_t need = Up(std::ssize(chunk));
        int64_t reclaimed = 0;
        bool isShifted = true;
        if (IsPadding(index) && index == Count() - 1) {
            Remove(index, 2);
        } else if (IsPadding(index) && need <= At(index).size) {
            At(index).size -= need;
            isShifted = false;
        } else if (IsPadding(index) && mode != 2) {
            reclaimed = Up(At(index).size + 24);
            list_.erase(list_.begin() + index);
        }
        if (index >= Count()) isShifted = false;
        const Bytes padding = isShifted ? Padding(mode, paddingSize) : Bytes();
        if (isShifted) Move(At(index).position, need - reclaimed + (isSafe_ ? std::ssize(padding) : 0));
        PutNew(index, chunk);
        if (!padding.empty()) PutNew(index + 1, padding);
        WriteHeaders(index);
    }

    void Resize(int index, const Bytes& chunk, int mode, int paddingSize) {
        bool makePadding = false;
        for (int i = index + 1; i < Count(); ++i) makePadding |= At(i).id == Id("data");
        int64_t delta = Up(std::ssize(chunk)) - Room(At(index));
        int64_t reclaimed = 0;
        if (delta != 0 && IsPadding(index + 1)) {
            Record& next = At(index + 1);
            if (delta <= next.size) {
                next.size -= delta;
                next.write = true;
                delta = 0;
            } else if (mode != 2) {
                reclaimed = Up(next.size + 24);
                list_.erase(list_.begin() + index + 1);
                makePadding = true;
            }
        }
        const Bytes padding = delta != 0 && makePadding ? Padding(mode, paddingSize) : Bytes();
        if (delta != 0 && index < Count() - 1) {
            Move(At(index + 1).position, delta - reclaimed + std::ssize(padding));
        } else if (delta != 0) {
            file.resize(static_cast<size_t>(At(index).position));
        }
        Put(index, chunk);
        if (!padding.empty()) PutNew(index + 1, padding);
        WriteHeaders(index);
    }

    void Remove(int index, int mode) {
        const int64_t room = Room(At(index));
        if (IsPadding(index + 1)) {
            At(index + 1).size += room;
            At(index + 1).write = true;
            list_.erase(list_.begin() + index);
            WriteHeaders(Count());
        } else if (index < Count() - 1 && (mode == 0 || mode == 1)) {
            At(index).id = Id(mode == 0 ? "junk" : "pad ");
            At(index).write = true;
            WriteHeaders(Count());
        } else {
            Move(At(index).position + room, -room);
            list_.erase(list_.begin() + index);
            WriteHeaders(index);
        }
    }

    void PutNew(int index, const Bytes& chunk) {
        list_.insert(list_.begin() + index, Record{});
        Put(index, chunk);
    }

    void Put(int index, const Bytes& chunk) {
        At(index) = {Slice(chunk, 0, 16), std::ssize(chunk) - 24, 0, true};
        Place();
        Write(At(index).position,
              Concat(chunk, Bytes(static_cast<size_t>(Up(std::ssize(chunk))) - chunk.size())));
    }

    int64_t Place() {
        int64_t end = 40;
        for (Record& record : list_) {
            record.position = end;
            end += 24 + Up(record.size);
        }
        return end;
    }

    void WriteHeaders(int first) {
        const int64_t end = Place();
        for (int i = 0; i < Count(); ++i) {
            if (i < first && !At(i).write) continue;
            Bytes header = At(i).id;
            Append<uint64_t>(header, uint32_t(At(i).size) + uint64_t{24});
            Write(At(i).position, header);
        }
        base::Store<uint64_t>(file.data() + 16, uint32_t(end));
        if (isSafe_ || std::ssize(file) > end) file.resize(static_cast<size_t>(end));
    }

    void Write(int64_t at, const Bytes& bytes) {
        file.resize(std::max(file.size(), static_cast<size_t>(at) + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), file.begin() + at);
    }

    void Move(int64_t from, int64_t delta) {
        const int64_t size = std::ssize(file);
        const Bytes tail(file.begin() + std::min(from, size), file.end());
        if (!tail.empty()) Write(from + delta, tail);
        file.resize(static_cast<size_t>(std::max<int64_t>(size + delta, 0)));
    }

    bool isSafe_;
    std::vector<Record> list_;
};

}  // namespace w64
