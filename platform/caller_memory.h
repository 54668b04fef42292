#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace velmora {

/// A copy of memory that a caller passes without a trustworthy length, made only as far as it is
/// needed and readable. Nothing here faults, whatever other threads do to the memory at the same
/// time: it is copied by a call that fails instead (ReadProcessMemory), and pages that are known
/// not to be readable are not touched.
class CallerMemory {
  public:
    static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

    /// Nothing after `limit` bytes is read. `expected`: how many bytes the first copy takes if they
    /// can be read.
    explicit CallerMemory(const void* address, std::size_t limit = kNoLimit,
                          std::size_t expected = 0) noexcept;

    /// The bytes copied so far.
    std::span<const std::byte> bytes() const noexcept { return copy_; }
    /// Copies until there are `size` bytes, and further ahead if it can: a reader that asks for one
    /// byte after the other copies each once. False if that many cannot be read.
    /// Throws std::bad_alloc.
    bool reach(std::size_t size);

  private:
    bool copyPiece(std::size_t size);

    std::uintptr_t begin_;
    std::size_t limit_;
    std::size_t expected_;
    std::vector<std::byte> copy_;
};

/// Copies of the text at `address` up to its terminator, at any address; none if there is none
/// within `limit` bytes that can be read.
std::optional<std::string> callerText(const char* address,
                                      std::size_t limit = CallerMemory::kNoLimit);
std::optional<std::wstring> callerText(const wchar_t* address,
                                       std::size_t limit = CallerMemory::kNoLimit);

}  // namespace velmora
