#pragma once

#include <unistd.h>
#include <utility>

namespace w64 {

// Owns a file descriptor; negative for none.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (IsOpen()) ::close(number_);
    }

    bool IsOpen() const { return number_ >= 0; }
    int Number() const { return number_; }

private:
    int number_;
};

}  // namespace w64
