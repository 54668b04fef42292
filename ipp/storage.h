#pragma once

#include <cstddef>

namespace velmora {

/// Memory that grows by blocks and is released as a whole. Nothing in it has a destructor. Small
/// messages take small blocks and large ones grow by a twenty-fourth, so little of it is unused.
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
        if (room() < size && !addBlock(size, limit)) return nullptr;
        void* const place = position_;
        position_ += size;
        return place;
    }

    /// The same for texts, which need no alignment and so are kept apart, at the block's other end.
    char* allocateOctets(std::size_t size, std::size_t limit) noexcept {
        if (room() < size && !addBlock(size, limit)) return nullptr;
        end_ -= size;
        return reinterpret_cast<char*>(end_);
    }

  private:
    std::size_t room() const noexcept { return static_cast<std::size_t>(end_ - position_); }
    struct Block {
        Block* next;
    };

    bool addBlock(std::size_t size, std::size_t limit) noexcept;

    std::byte* position_;
    std::byte* end_;
    Block* blocks_ = nullptr;
    std::size_t total_ = 0;  ///< bytes of all blocks
    /// Room for the two attributes that every message begins with, their texts included.
    alignas(void*) std::byte first_[96];
};

}  // namespace velmora
