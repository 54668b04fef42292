#include "platform/readable_memory.h"

#include <windows.h>

#include <cstdint>

namespace velmora {
namespace {

constexpr DWORD kReadableProtections = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY |
                                       PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE |
                                       PAGE_EXECUTE_WRITECOPY;

/// The end of the readable region that holds `address`, or `address` itself when none does.
std::uintptr_t regionEnd(std::uintptr_t address) noexcept {
    MEMORY_BASIC_INFORMATION info{};
    if (VirtualQuery(reinterpret_cast<const void*>(address), &info, sizeof info) == 0)
        return address;
    const bool readable = info.State == MEM_COMMIT && (info.Protect & PAGE_GUARD) == 0 &&
                          (info.Protect & kReadableProtections) != 0;
    if (!readable) return address;
    return reinterpret_cast<std::uintptr_t>(info.BaseAddress) + info.RegionSize;
}

/// Searches region by region, so that a short text costs one query however large the mapping is.
template <class Char>
std::optional<std::basic_string_view<Char>> textUpToTerminator(const Char* text) noexcept {
    const auto begin = reinterpret_cast<std::uintptr_t>(text);
    if (text == nullptr || begin % alignof(Char) != 0) return std::nullopt;
    std::size_t length = 0;
    for (std::uintptr_t end = regionEnd(begin); end > begin + length * sizeof(Char);
         end = regionEnd(end)) {
        const std::size_t limit = (end - begin) / sizeof(Char);
        while (length < limit) {
            if (text[length] == Char{}) return std::basic_string_view<Char>(text, length);
            ++length;
        }
    }
    return std::nullopt;
}

}  // namespace

std::span<const std::byte> readableMemory(const void* address) noexcept {
    const auto begin = reinterpret_cast<std::uintptr_t>(address);
    std::uintptr_t end = begin;
    for (std::uintptr_t next = regionEnd(end); next > end; next = regionEnd(end))
        end = next;
    return {static_cast<const std::byte*>(address), static_cast<std::size_t>(end - begin)};
}

std::optional<std::string_view> readableText(const char* address) noexcept {
    return textUpToTerminator(address);
}

std::optional<std::wstring_view> readableText(const wchar_t* address) noexcept {
    return textUpToTerminator(address);
}

}  // namespace velmora
