#include "velmoractl/text/console.h"

#include <array>
#include <cstdio>

#include "platform/text.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

std::wstring wideFromUtf8(std::string_view utf8, DWORD flags) {
    const int size = static_cast<int>(utf8.size());
    std::wstring wide(static_cast<std::size_t>(
                          MultiByteToWideChar(CP_UTF8, flags, utf8.data(), size, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(CP_UTF8, flags, utf8.data(), size, wide.data(),
                        static_cast<int>(wide.size()));
    return wide;
}

void write(DWORD standardHandle, std::FILE* stream, std::string_view utf8) {
    if (isConsole(standardHandle)) {
        const std::wstring wide = wideFromUtf8(utf8, 0);
        DWORD written = 0;
        if (WriteConsoleW(GetStdHandle(standardHandle), wide.data(),
                          static_cast<DWORD>(wide.size()), &written, nullptr)) {
            return;
        }
    }
    std::fwrite(utf8.data(), 1, utf8.size(), stream);
    std::fflush(stream);
}

/// WinInet keeps the texts of its errors in its own library.
constexpr DWORD kFirstInternetError = 12000;
constexpr DWORD kLastInternetError = 12175;

}  // namespace

void writeOut(std::string_view utf8) {
    write(STD_OUTPUT_HANDLE, stdout, utf8);
}

void writeError(std::string_view utf8) {
    write(STD_ERROR_HANDLE, stderr, utf8);
}

bool isConsole(DWORD standardHandle) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(standardHandle), &mode) != FALSE;
}

std::optional<std::string> readLine(bool echo) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    const bool hide = !echo && GetConsoleMode(input, &mode);
    if (hide) SetConsoleMode(input, mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    std::string line;
    int c = std::getchar();
    const bool ended = c == EOF;
    for (; c != EOF && c != '\n'; c = std::getchar())
        line += static_cast<char>(c);
    if (hide) SetConsoleMode(input, mode);
    if (ended) return std::nullopt;
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

std::string toUtf8(std::wstring_view wide) {
    const int size = static_cast<int>(wide.size());
    std::string utf8(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), size,
                                                                  nullptr, 0, nullptr, nullptr)),
                     '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), static_cast<int>(utf8.size()),
                        nullptr, nullptr);
    return utf8;
}

std::string toUtf8(const std::string& ansi) {
    return toUtf8(toWide(ansi));
}

std::optional<std::string> fromUtf8(const std::string& utf8) {
    if (!isUtf8(utf8)) return std::nullopt;
    const std::wstring wide = wideFromUtf8(utf8, 0);
    std::string ansi = toAnsi(wide);
    // Neither a look-alike nor a question mark may stand for what was written.
    if (toWide(ansi) != wide) return std::nullopt;
    return ansi;
}

const TextCodec& systemCodec() {
    static const TextCodec codec{[](const std::string& ansi) { return toUtf8(ansi); }, fromUtf8};
    return codec;
}

std::string errorText(DWORD code) {
    std::array<wchar_t, 512> area{};
    DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    HMODULE library = nullptr;
    if (code >= kFirstInternetError && code <= kLastInternetError) {
        library = GetModuleHandleA("wininet.dll");
        flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    }
    const DWORD length = FormatMessageW(flags, library, code, 0, area.data(),
                                        static_cast<DWORD>(area.size()), nullptr);
    std::wstring wide(area.data(), length);
    while (!wide.empty() && (wide.back() <= L' ' || wide.back() == L'.'))
        wide.pop_back();
    for (wchar_t& c : wide) {
        if (c < L' ') c = L' ';
    }
    const std::string number = "error " + std::to_string(code);
    return wide.empty() ? number : toUtf8(wide) + " (" + number + ")";
}

CommandError systemError(const std::string& what, DWORD code, const std::string& remedy) {
    if (code == ERROR_ACCESS_DENIED) {
        return {ExitCode::accessDenied, what, errorText(code), "run the command as administrator"};
    }
    return {ExitCode::failed, what, errorText(code), remedy};
}

std::string quotedAnsi(const std::string& ansi) {
    return inQuotes(toUtf8(ansi));
}

}  // namespace velmora::ctl
