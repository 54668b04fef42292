#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace velmora {

/// The encoder's output: a chain of blocks of 512 data bytes, the first of them inside the buffer
/// itself, so that a typical request needs one block more and nothing is ever moved.
class IppBlockBuffer {
  public:
    static constexpr std::size_t kBlockSize = 512;

    IppBlockBuffer() noexcept = default;
    IppBlockBuffer(const IppBlockBuffer&) = delete;
    IppBlockBuffer& operator=(const IppBlockBuffer&) = delete;
    ~IppBlockBuffer();

    /// Bytes appended so far.
    std::uint32_t size() const noexcept {
        return fullBlocks_ + static_cast<std::uint32_t>(position_ - last_->data);
    }

    /// False when memory runs out or when the total would not fit 32 bits; what was appended
    /// until then stays, part of these bytes perhaps included.
    bool append(const void* bytes, std::size_t count) noexcept {
        if (count > room()) return appendAcross(bytes, count);
        if (count != 0) std::memcpy(position_, bytes, count);  // an empty text may have no bytes
        position_ += count;
        return true;
    }

    /// Contiguous bytes left in the current block.
    std::size_t room() const noexcept {
        return static_cast<std::size_t>(last_->data + kBlockSize - position_);
    }
    /// For writing at most room() bytes in place; advance() then takes them into the buffer.
    std::uint8_t* position() noexcept { return position_; }
    void advance(std::uint8_t* to) noexcept { position_ = to; }

    /// Copies everything to `area`, which has room for size() bytes.
    void flatten(void* area) const noexcept;

  private:
    struct Block {
        Block* next;
        std::uint8_t data[kBlockSize];
    };

    bool appendAcross(const void* bytes, std::size_t count) noexcept;

    Block* last_ = &first_;
    std::uint8_t* position_ = first_.data;
    std::uint32_t fullBlocks_ = 0;  ///< bytes in the blocks before the last
    Block first_;                   ///< only its link needs a value, which the constructor gives
};

using UniqueIppBlockBuffer = std::unique_ptr<IppBlockBuffer>;

/// Null when memory runs out.
UniqueIppBlockBuffer newIppBlockBuffer() noexcept;

}  // namespace velmora
