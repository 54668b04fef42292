#include "ipp/storage.h"

#include <algorithm>
#include <new>

namespace velmora {
namespace {

// A short answer fits the first block; a long one takes few blocks.
constexpr std::size_t kFirstBlock = 2048;
constexpr std::size_t kLargestBlock = 64 * 1024;

}  // namespace

IppStorage::~IppStorage() {
    while (blocks_ != nullptr) {
        Block* const next = blocks_->next;
        ::operator delete(blocks_);
        blocks_ = next;
    }
}

void* IppStorage::allocateBlock(std::size_t size, std::size_t limit) noexcept {
    if (total_ >= limit || size > limit - total_) return nullptr;
    // Each block doubles the whole, within the limit.
    std::size_t blockSize = std::clamp(total_, kFirstBlock, kLargestBlock);
    blockSize = std::max(std::min(blockSize, limit - total_), size + sizeof(Block));
    if (blockSize > limit - total_) return nullptr;
    void* const memory = ::operator new(blockSize, std::nothrow);
    if (memory == nullptr) return nullptr;
    total_ += blockSize;
    blocks_ = new (memory) Block{blocks_};
    position_ = static_cast<std::byte*>(memory) + sizeof(Block) + size;
    end_ = static_cast<std::byte*>(memory) + blockSize;
    return position_ - size;
}

}  // namespace velmora
