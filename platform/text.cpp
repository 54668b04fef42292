#include "platform/text.h"

#include <windows.h>

namespace velmora {

std::wstring toWide(std::string_view ansi) {
    std::wstring wide;
    appendWide(wide, ansi);
    return wide;
}

void appendWide(std::wstring& text, std::string_view ansi) {
    if (ansi.empty()) return;
    const std::size_t before = text.size();
    const int size = static_cast<int>(ansi.size());
    // No byte of an ANSI code page becomes more than one UTF-16 unit.
    text.resize(before + ansi.size());
    const int length =
        MultiByteToWideChar(CP_ACP, 0, ansi.data(), size, text.data() + before, size);
    text.resize(before + static_cast<std::size_t>(length));
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
