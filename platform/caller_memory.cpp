#include "platform/caller_memory.h"

#include <windows.h>

#include <algorithm>
#include <array>
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

// Copy at most `size` characters, the terminator included; false if one cannot be read.
// lstrcpyn catches the fault itself.
bool copyText(char* area, const char* address, int size) noexcept {
    return lstrcpynA(area, address, size) != nullptr;
}
bool copyText(wchar_t* area, const wchar_t* address, int size) noexcept {
    return lstrcpynW(area, address, size) != nullptr;
}

/// A text that ends soon, which is what the spooler is given at nearly every call. Empty does not
/// mean that it is unreadable. Under Wine ReadProcessMemory stops the whole thread from outside,
/// which takes longer than the rest of such a call.
template <class Char>
std::optional<std::basic_string<Char>> shortTextAt(const Char* address, std::size_t limit) {
    const auto begin = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t end = regionEnd(begin);
    if (begin == 0 || end <= begin) return std::nullopt;
    std::array<Char, kFirstLook> area;
    // The first character beyond the limit may be touched, but nothing beyond the region.
    const std::size_t size =
        std::min(std::min(limit / sizeof(Char), area.size() - 1) + 1, (end - begin) / sizeof(Char));
    if (size == 0 || !copyText(area.data(), address, static_cast<int>(size))) return std::nullopt;
    const auto terminator = std::find(area.begin(), area.begin() + size - 1, Char{});
    // In the last place lstrcpyn writes a terminator of its own.
    if (terminator == area.begin() + size - 1) return std::nullopt;
    return std::basic_string<Char>(area.begin(), terminator);
}

/// Searches what has been copied, and copies on until the terminator has come.
template <class Char>
std::optional<std::basic_string<Char>> textAt(const Char* address, std::size_t limit) {
    if (auto text = shortTextAt(address, limit)) return text;
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
