#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

/// The bytes from `address` to the end of the memory that can be read there without a fault: empty
/// for null or for an address that cannot be read. For inputs that arrive without a length, or with
/// one that must not be trusted. Other threads may still unmap the memory; the spooler's buffers
/// belong to the call, so nobody does.
std::span<const std::byte> readableMemory(const void* address) noexcept;

/// The text at `address` up to its terminator; none when no terminator lies in readable memory.
std::optional<std::string_view> readableText(const char* address) noexcept;
std::optional<std::wstring_view> readableText(const wchar_t* address) noexcept;

}  // namespace velmora
