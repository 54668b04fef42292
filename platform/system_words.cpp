#include "platform/system_words.h"

#include <windows.h>

#include <array>

namespace velmora {
namespace {

// The range of WinInet's own codes (wininet.h, INTERNET_ERROR_BASE).
constexpr std::uint32_t kFirstInternetError = 12000;
constexpr std::uint32_t kLastInternetError = 12200;

}  // namespace

std::wstring systemWords(std::uint32_t code) {
    std::array<wchar_t, 512> area{};
    DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    HMODULE library = nullptr;
    if (code >= kFirstInternetError && code <= kLastInternetError) {
        library = GetModuleHandleA("wininet.dll");
        flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    }
    const DWORD length = FormatMessageW(flags, library, code, 0, area.data(),
                                        static_cast<DWORD>(area.size()), nullptr);
    std::wstring words(area.data(), length);
    while (!words.empty() && (words.back() <= L' ' || words.back() == L'.'))
        words.pop_back();
    for (wchar_t& c : words) {
        if (c < L' ') c = L' ';
    }
    return words;
}

}  // namespace velmora
