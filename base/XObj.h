#pragma once

#include <cstddef>
#include <deque>
#include <utility>

// An ordered list that owns its records. Positions are 0-based and unchecked; a pointer or reference to a
// record lives until one is inserted before the end.
// A list of a hundred thousand records grows without moving them, which took longer than reading them.
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
    void Clear() { records_.clear(); }

    auto begin() { return records_.begin(); }
    auto end() { return records_.end(); }
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }

private:
    std::deque<T> records_;
};
