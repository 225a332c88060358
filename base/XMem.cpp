#include "base/XMem.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace w64 {

XMem::XMem(const XMem& other) {
    if (!Assign(other.Data(), other.Size())) throw std::bad_alloc();
}

XMem& XMem::operator=(const XMem& other) {
    if (!Assign(other.Data(), other.Size())) throw std::bad_alloc();
    return *this;
}

bool XMem::Resize(size_t size) {
    if (!block_ && size == 0) return true;
    if (!block_ || size > block_->capacity) {
        if (size > std::numeric_limits<size_t>::max() - sizeof(Block)) return false;
        auto* grown = static_cast<Block*>(std::realloc(block_.get(), sizeof(Block) + size));
        if (!grown) return false;
        static_cast<void>(block_.release());  // realloc has freed or reused it
        block_.reset(grown);
        block_->capacity = size;
    }
    block_->size = size;
    return true;
}

bool XMem::Assign(const void* data, size_t size) {
    if (size == 0) return Resize(0);
    XMem copy;
    // Growing in place could free the bytes that are being copied.
    XMem& target = block_ && size <= block_->capacity ? *this : copy;
    if (!target.Resize(size)) return false;
    std::memmove(target.Data(), data, size);
    if (&target == &copy) *this = std::move(copy);
    return true;
}

}  // namespace w64
