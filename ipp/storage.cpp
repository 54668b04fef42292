#include "ipp/storage.h"

#include <algorithm>
#include <new>

namespace velmora {
namespace {

// Room for the attributes of a short request, or for one attribute with several values.
constexpr std::size_t kFirstBlock = 280 + sizeof(void*);
constexpr std::size_t kFurtherBlock = 256 + sizeof(void*);
constexpr std::size_t kLargestBlock = 64 * 1024;

}  // namespace

IppStorage::~IppStorage() {
    while (blocks_ != nullptr) {
        Block* const next = blocks_->next;
        ::operator delete(blocks_);
        blocks_ = next;
    }
}

bool IppStorage::addBlock(std::size_t size, std::size_t limit) noexcept {
    if (total_ >= limit || size > limit - total_) return false;
    std::size_t blockSize =
        total_ == 0 ? kFirstBlock : std::clamp(total_ / 24, kFurtherBlock, kLargestBlock);
    blockSize = std::max(std::min(blockSize, limit - total_), size + sizeof(Block));
    if (blockSize > limit - total_) return false;
    void* const memory = ::operator new(blockSize, std::nothrow);
    if (memory == nullptr) return false;
    total_ += blockSize;
    blocks_ = new (memory) Block{blocks_};
    position_ = static_cast<std::byte*>(memory) + sizeof(Block);
    end_ = static_cast<std::byte*>(memory) + blockSize;
    return true;
}

}  // namespace velmora
