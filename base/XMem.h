#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace w64 {

// A block of bytes that owns its memory; new bytes are not zeroed. One pointer wide, as long lists hold one per
// record, mostly empty.
// Errors: Resize and Assign return false when out of memory and leave the block unchanged; copying throws
//         std::bad_alloc.
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

    // Keeps the contents that fit; new bytes are undefined. Shrinking keeps the memory, so a buffer that is
    // resized for every block of a stream is allocated once.
    [[nodiscard]] bool Resize(size_t size);

    // Copies `size` bytes, which may lie inside this block.
    [[nodiscard]] bool Assign(const void* data, size_t size);

    // Frees the memory.
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
