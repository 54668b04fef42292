#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

// Reader and writer of our flat little-endian formats (port record, directory payload): 32-bit
// unsigned numbers, single bytes, and texts that end with one NUL.

static_assert(std::endian::native == std::endian::little,
              "formats are copied as they are in memory");

/// Reads from the front of a block. After the first read past the end every read yields an empty
/// value and ok() is false: callers test once, at the end of a record.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::byte> block) noexcept : rest_(block) {}

    bool ok() const noexcept { return ok_; }
    std::size_t remaining() const noexcept { return rest_.size(); }

    std::uint8_t u8() noexcept {
        std::uint8_t value = 0;
        take(&value, sizeof value);
        return value;
    }
    std::uint32_t u32() noexcept {
        std::uint32_t value = 0;
        take(&value, sizeof value);
        return value;
    }
    /// The bytes up to the terminator, which is consumed too.
    std::string_view text() noexcept {
        const auto* begin = reinterpret_cast<const char*>(rest_.data());
        const void* end = rest_.empty() ? nullptr : std::memchr(begin, 0, rest_.size());
        if (end == nullptr) {
            fail();
            return {};
        }
        const std::string_view value(
            begin, static_cast<std::size_t>(static_cast<const char*>(end) - begin));
        rest_ = rest_.subspan(value.size() + 1);
        return value;
    }

  private:
    void take(void* value, std::size_t size) noexcept {
        if (!ok_ || rest_.size() < size) {
            fail();
            return;
        }
        std::memcpy(value, rest_.data(), size);
        rest_ = rest_.subspan(size);
    }
    void fail() noexcept {
        ok_ = false;
        rest_ = {};
    }

    std::span<const std::byte> rest_;
    bool ok_ = true;
};

/// Writes to the front of an area that the caller has made large enough.
class ByteWriter {
  public:
    explicit ByteWriter(std::byte* position) noexcept : position_(position) {}

    void u8(std::uint8_t value) noexcept { put(&value, sizeof value); }
    void u32(std::uint32_t value) noexcept { put(&value, sizeof value); }
    /// The text and its terminator; the text must hold no NUL of its own.
    void text(const std::string& value) noexcept { put(value.c_str(), value.size() + 1); }

  private:
    void put(const void* value, std::size_t size) noexcept {
        std::memcpy(position_, value, size);
        position_ += size;
    }

    std::byte* position_;
};

}  // namespace velmora
