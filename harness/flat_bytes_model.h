#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::testing {

// Our flat formats, byte by byte: 32-bit little-endian numbers, single bytes, and texts that end
// with a zero byte. For the models; includes nothing of the product.

using FlatBytes = std::vector<std::uint8_t>;

/// Reads fields from the front. A field that the bytes are too short for is 0 or empty and sets
/// `ended`.
class FlatReader {
  public:
    explicit FlatReader(const FlatBytes& bytes) : bytes_(bytes) {}

    std::uint8_t byte() {
        if (at_ == bytes_.size()) {
            ended = true;
            return 0;
        }
        return bytes_[at_++];
    }
    std::uint32_t number() {
        std::uint32_t number = 0;
        for (int i = 0; i < 4; ++i)
            number |= static_cast<std::uint32_t>(byte()) << (8 * i);
        return ended ? 0 : number;
    }
    std::string text() {
        std::string text;
        for (std::uint8_t next = byte(); next != 0; next = byte())
            text += static_cast<char>(next);
        return text;
    }

    bool ended = false;

  private:
    const FlatBytes& bytes_;
    std::size_t at_ = 0;
};

inline void putByte(FlatBytes& bytes, std::uint8_t byte) {
    bytes.push_back(byte);
}

inline void putNumber(FlatBytes& bytes, std::uint32_t number) {
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

inline void putText(FlatBytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
}

}  // namespace velmora::testing
