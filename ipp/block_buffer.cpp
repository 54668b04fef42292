#include "ipp/block_buffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace velmora {

IppBlockBuffer::~IppBlockBuffer() {
    if (last_ == &first_) return;
    Block* block = first_.next;
    while (block != nullptr) {
        Block* const next = block == last_ ? nullptr : block->next;
        ::operator delete(block);
        block = next;
    }
}

bool IppBlockBuffer::appendAcross(const void* bytes, std::size_t count) noexcept {
    if (count > std::numeric_limits<std::uint32_t>::max() - size()) return false;
    auto source = static_cast<const std::uint8_t*>(bytes);
    for (;;) {
        const std::size_t part = std::min(count, room());
        std::memcpy(position_, source, part);
        position_ += part;
        source += part;
        count -= part;
        if (count == 0) return true;
        void* const memory = ::operator new(sizeof(Block), std::nothrow);
        if (memory == nullptr) return false;
        auto* const block = new (memory) Block;
        last_->next = block;
        last_ = block;
        position_ = block->data;
        fullBlocks_ += kBlockSize;
    }
}

void IppBlockBuffer::flatten(void* area) const noexcept {
    auto target = static_cast<std::uint8_t*>(area);
    for (const Block* block = &first_; block != last_; block = block->next) {
        std::memcpy(target, block->data, kBlockSize);
        target += kBlockSize;
    }
    std::copy<const std::uint8_t*>(last_->data, position_, target);
}

UniqueIppBlockBuffer newIppBlockBuffer() noexcept {
    return UniqueIppBlockBuffer(new (std::nothrow) IppBlockBuffer);
}

}  // namespace velmora
