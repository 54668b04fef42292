#pragma once

#include <cstddef>

namespace velmora {

/// Memory that grows by blocks and is released as a whole. Nothing in it has a destructor.
class IppStorage {
  public:
    IppStorage() noexcept : position_(first_), end_(first_ + sizeof first_) {}
    IppStorage(const IppStorage&) = delete;
    IppStorage& operator=(const IppStorage&) = delete;
    ~IppStorage();

    /// `size` bytes aligned for pointers and uninitialised; null when memory runs out or when the
    /// storage would come to hold more than `limit` bytes.
    void* allocate(std::size_t size, std::size_t limit) noexcept {
        size = (size + sizeof(void*) - 1) & ~(sizeof(void*) - 1);
        if (static_cast<std::size_t>(end_ - position_) < size) return allocateBlock(size, limit);
        void* const place = position_;
        position_ += size;
        return place;
    }

  private:
    struct Block {
        Block* next;
    };

    void* allocateBlock(std::size_t size, std::size_t limit) noexcept;

    std::byte* position_;
    std::byte* end_;
    Block* blocks_ = nullptr;
    std::size_t total_ = 0;  ///< bytes of all blocks
    /// Room for the two attributes that every request begins with.
    alignas(void*) std::byte first_[128];
};

}  // namespace velmora
