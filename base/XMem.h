#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace w64 {

// A block of bytes that owns its memory and grows without being zeroed. One pointer wide, as long lists of
// records carry one each, mostly empty.
// Errors: sizing returns false when there is no memory, and the block is then as it was; a copy throws
//         std::bad_alloc instead.
class XMem {
public:
    XMem() = default;
    XMem(const XMem& other);
    XMem& operator=(const XMem& other);
    XMem(XMem&&) noexcept = default;
    XMem& operator=(XMem&&) noexcept = default;
    ~XMem() = default;

    // Aligned for every type; null while no memory is held.
    uint8_t* Data() { return block_ ? block_->Bytes() : nullptr; }
    const uint8_t* Data() const { return block_ ? block_->Bytes() : nullptr; }
    size_t Size() const { return block_ ? block_->size : 0; }
    bool IsEmpty() const { return Size() == 0; }

    // `size` bytes that keep what was held as far as it fits; new bytes are undefined. Memory is kept when
    // the block shrinks, so that a buffer sized for every block of a stream is allocated once.
    [[nodiscard]] bool Resize(size_t size);

    // A copy of `size` bytes, which may lie inside this block.
    [[nodiscard]] bool Assign(const void* data, size_t size);

    // Gives the memory back.
    void Clear() { block_.reset(); }

private:
    struct alignas(std::max_align_t) Block {  // the bytes follow it
        size_t size;
        size_t capacity;

        uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
    };
    struct Free {
        void operator()(Block* block) const { std::free(block); }
    };
    std::unique_ptr<Block, Free> block_;
};

}  // namespace w64
