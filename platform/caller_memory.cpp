#include "platform/caller_memory.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace velmora {
namespace {

constexpr DWORD kReadableProtections = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY |
                                       PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE |
                                       PAGE_EXECUTE_WRITECOPY;

constexpr std::size_t kFirstLook = 256;
constexpr std::size_t kLargestExpected = 1 << 20;
constexpr std::size_t kLargestPiece = 1 << 16;
constexpr std::size_t kPage = 4096;

/// The end of the readable region that holds `address`, or `address` itself when none does. Asked
/// first: reading a guard page would take its guard away, and Wine's call reads what may not be
/// read.
std::uintptr_t regionEnd(std::uintptr_t address) noexcept {
    MEMORY_BASIC_INFORMATION info{};
    if (VirtualQuery(reinterpret_cast<const void*>(address), &info, sizeof info) == 0)
        return address;
    const bool readable = info.State == MEM_COMMIT && (info.Protect & PAGE_GUARD) == 0 &&
                          (info.Protect & kReadableProtections) != 0;
    if (!readable) return address;
    return reinterpret_cast<std::uintptr_t>(info.BaseAddress) + info.RegionSize;
}

/// Searches what has been copied, and copies on until the terminator has come.
template <class Char>
std::optional<std::basic_string<Char>> textAt(const Char* address, std::size_t limit) {
    CallerMemory memory(address, limit);
    std::basic_string<Char> text;
    while (memory.reach((text.size() + 1) * sizeof(Char))) {
        const std::size_t searched = text.size();
        // Copied bytewise: the address need not be aligned.
        text.resize(memory.bytes().size() / sizeof(Char));
        std::memcpy(text.data() + searched, memory.bytes().data() + searched * sizeof(Char),
                    (text.size() - searched) * sizeof(Char));
        const std::size_t end = text.find(Char{}, searched);
        if (end == text.npos) continue;
        text.resize(end);
        return text;
    }
    return std::nullopt;
}

}  // namespace

CallerMemory::CallerMemory(const void* address, std::size_t limit, std::size_t expected) noexcept
    : begin_(reinterpret_cast<std::uintptr_t>(address)),
      limit_(limit),
      expected_(std::min(std::max(expected, kFirstLook), kLargestExpected)) {}

bool CallerMemory::reach(std::size_t size) {
    if (size > limit_) return false;
    if (size <= copy_.size()) return true;
    const std::size_t wanted =
        std::min(std::max({size, 2 * copy_.size(), copy_.empty() ? expected_ : 0}), limit_);
    while (copy_.size() < wanted && copyPiece(wanted - copy_.size())) {
    }
    return size <= copy_.size();
}

/// Copies up to `size` bytes after those that are there. False if none can be read.
bool CallerMemory::copyPiece(std::size_t size) {
    const std::uintptr_t at = begin_ + copy_.size();
    const std::uintptr_t end = regionEnd(at);
    if (begin_ == 0 || end <= at) return false;
    const std::size_t before = copy_.size();
    size = std::min({size, static_cast<std::size_t>(end - at), kLargestPiece});
    // The region may have changed since: then as far as its first page goes.
    for (const std::size_t piece : {size, std::min(size, kPage - at % kPage)}) {
        copy_.resize(before + piece);
        SIZE_T copied = 0;
        if (ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(at),
                              copy_.data() + before, piece, &copied) &&
            copied == piece)
            return true;
    }
    copy_.resize(before);
    return false;
}

std::optional<std::string> callerText(const char* address, std::size_t limit) {
    return textAt(address, limit);
}

std::optional<std::wstring> callerText(const wchar_t* address, std::size_t limit) {
    return textAt(address, limit);
}

}  // namespace velmora
