#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

namespace velmora::testing {

/// The file that documents are cut from, in memory.
class DocumentStore {
  public:
    explicit DocumentStore(const std::string& path) {
        const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr);
        size_ = GetFileSize(file, nullptr);
        const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        bytes_ = static_cast<const std::byte*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
        CloseHandle(mapping);
        CloseHandle(file);
    }
    bool good() const { return bytes_ != nullptr; }

    /// Bytes [from, from + size) of the document with this number: a line with the number, and then
    /// the store's bytes, which begin at another place in each document.
    void copy(unsigned number, std::size_t documentSize, std::size_t from, std::byte* to,
              std::size_t size) const {
        std::array<char, kHead + 1> head{};
        const int length =
            std::snprintf(head.data(), head.size(), "%%!PS-Adobe-3.0 document %u ", number);
        std::memset(head.data() + length, '.', kHead - static_cast<std::size_t>(length));
        const std::size_t place = number * std::size_t{977} % (size_ - documentSize);
        for (std::size_t i = from; i < std::min(from + size, kHead); ++i)
            *to++ = static_cast<std::byte>(head[i]);
        const std::size_t begin = std::max(from, kHead);
        if (begin < from + size) std::memcpy(to, bytes_ + place + begin, from + size - begin);
    }

  private:
    static constexpr std::size_t kHead = 64;  ///< bytes of a document that say whose it is

    const std::byte* bytes_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace velmora::testing
