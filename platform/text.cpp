#include "platform/text.h"

#include <windows.h>

namespace velmora {
namespace {

std::string narrow(UINT codePage, std::wstring_view wide) {
    if (wide.empty()) return {};
    const int size = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(codePage, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(codePage, 0, wide.data(), size, text.data(), length, nullptr, nullptr);
    return text;
}

}  // namespace

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
    return narrow(CP_ACP, wide);
}

std::string utf8FromWide(std::wstring_view wide) {
    return narrow(CP_UTF8, wide);
}

std::wstring wideFromUtf8(std::string_view utf8) {
    if (utf8.empty()) return {};
    const int size = static_cast<int>(utf8.size());
    // No byte of UTF-8 becomes more than one UTF-16 unit.
    std::wstring wide(utf8.size(), L'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), size);
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

std::optional<std::string> toAnsiExactly(std::wstring_view wide) {
    std::string ansi = toAnsi(wide);
    if (toWide(ansi) != wide) return std::nullopt;
    return ansi;
}

}  // namespace velmora
