#include "velmoractl/text/console.h"

#include <array>
#include <atomic>
#include <cstdio>

#include "platform/text.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/url_text.h"

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

const char* keywordOf(DWORD code) {
    switch (code) {
        case RPC_S_SERVER_UNAVAILABLE:
        case RPC_S_SERVER_TOO_BUSY:
        case RPC_S_CALL_FAILED:
        case ERROR_INVALID_SERVICE_CONTROL:
        case ERROR_SERVICE_NOT_ACTIVE:
            return "spooler-unavailable";
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return "disk-full";
        default:
            return "system-error";
    }
}

// The system calls the handler in a thread of its own.
std::atomic<bool> interrupted = false;

BOOL WINAPI noteInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    interrupted = true;
    return TRUE;
}

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

InterruptNote::InterruptNote() {
    interrupted = false;
    SetConsoleCtrlHandler(noteInterrupt, TRUE);
}

InterruptNote::~InterruptNote() {
    SetConsoleCtrlHandler(noteInterrupt, FALSE);
}

bool InterruptNote::pressed() noexcept {
    return interrupted;
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
    // The text must round-trip: no best-fit characters, no '?'.
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
    return {ExitCode::failed, what, errorText(code), remedy, keywordOf(code)};
}

CommandError spoolerError(const std::string& what, DWORD code) {
    return systemError(what, code, "check that the spooler is running (net start spooler)");
}

std::string quotedAnsi(const std::string& ansi) {
    return inQuotes(toUtf8(ansi));
}

std::string quotedUrl(const std::string& ansi) {
    return quotedAnsi(maskedUrl(ansi));
}

std::string quotedPath(const std::string& ansi) {
    std::string text = quotedAnsi(ansi);
    // A path holds no quotation mark and no control character, so nothing else is escaped by one.
    for (std::size_t at = text.find("\\\\"); at != std::string::npos;
         at = text.find("\\\\", at + 1)) {
        text.erase(at, 1);
    }
    return text;
}

}  // namespace velmora::ctl
