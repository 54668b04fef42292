#include "platform/text.h"

#include <windows.h>

namespace velmora {

std::wstring toWide(std::string_view ansi) {
    if (ansi.empty()) return {};
    const int size = static_cast<int>(ansi.size());
    const int length = MultiByteToWideChar(CP_ACP, 0, ansi.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, ansi.data(), size, wide.data(), length);
    return wide;
}

std::string toAnsi(std::wstring_view wide) {
    if (wide.empty()) return {};
    const int size = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(CP_ACP, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.data(), size, ansi.data(), length, nullptr, nullptr);
    return ansi;
}

}  // namespace velmora
