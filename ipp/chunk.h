#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <span>
#include <string_view>

namespace velmora {

/// What goes before and after the data of a chunk of `size` bytes (RFC 2616, 3.6.1). A chunk of no
/// data ends the body.
class ChunkFrame {
  public:
    static constexpr std::string_view kEnd = "\r\n";

    explicit ChunkFrame(std::size_t size) noexcept {
        char* end = std::to_chars(line_.data(), line_.data() + 2 * sizeof size, size, 16).ptr;
        for (const char c : kEnd)
            *end++ = c;
        length_ = static_cast<std::size_t>(end - line_.data());
    }

    /// The size in hexadecimal digits, CR LF. Valid as long as this object.
    std::string_view sizeLine() const noexcept { return {line_.data(), length_}; }

  private:
    std::array<char, 2 * sizeof(std::size_t) + kEnd.size()> line_;
    std::size_t length_;
};

/// The data of a whole chunk: what ChunkFrame adds is taken off.
inline std::span<const std::byte> dataOfChunk(std::span<const std::byte> chunk) noexcept {
    const auto line = std::ranges::find(chunk, std::byte{'\n'}) - chunk.begin() + 1;
    const auto begin = static_cast<std::size_t>(line);
    return chunk.subspan(begin, chunk.size() - begin - ChunkFrame::kEnd.size());
}

}  // namespace velmora
