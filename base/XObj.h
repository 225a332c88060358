#pragma once

#include <cstddef>
#include <deque>
#include <utility>

namespace w64 {

// An ordered list that owns its records. Positions are 0-based and unchecked; a pointer or reference to a
// record lives until one is inserted before the end or deleted.
// A deque grows without moving its records, which for 100,000 of them takes longer than reading them.
template <class T>
class XObj {
public:
    int Count() const { return static_cast<int>(records_.size()); }
    T& operator[](int position) { return records_[static_cast<size_t>(position)]; }
    const T& operator[](int position) const { return records_[static_cast<size_t>(position)]; }

    T& Append(T record = {}) { return records_.emplace_back(std::move(record)); }
    T& Insert(int position, T record = {}) {
        return *records_.insert(records_.begin() + position, std::move(record));
    }
    void DeletePos(int position) { records_.erase(records_.begin() + position); }

    // Deletes all unwanted records in one pass and returns their number.
    template <class Predicate>
    size_t DeleteIf(Predicate unwanted) {
        return std::erase_if(records_, unwanted);
    }
    void Clear() { records_.clear(); }

    auto begin() { return records_.begin(); }
    auto end() { return records_.end(); }
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }

private:
    std::deque<T> records_;
};

}  // namespace w64
