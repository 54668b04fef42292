#include "velmoractl/text/console.h"

#include <atomic>
#include <cstdio>
#include <new>

#include "platform/system_words.h"
#include "platform/text.h"
#include "port/url_text.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

void write(DWORD standardHandle, std::FILE* stream, std::string_view utf8) {
    if (isConsole(standardHandle)) {
        try {
            const std::wstring wide = wideFromUtf8(utf8);
            DWORD written = 0;
            if (WriteConsoleW(GetStdHandle(standardHandle), wide.data(),
                              static_cast<DWORD>(wide.size()), &written, nullptr)) {
                return;
            }
        } catch (const std::bad_alloc&) {
            // The message about it has no other characters than ASCII's.
        }
    }
    std::fwrite(utf8.data(), 1, utf8.size(), stream);
    std::fflush(stream);
}

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

// The system calls the handler on its own thread.
std::atomic<bool> interrupted = false;
std::atomic<bool> secondEnds = false;

BOOL WINAPI noteInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    if (interrupted.exchange(true) && secondEnds)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::cancelled));
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

InterruptNote::InterruptNote(Again again) {
    interrupted = false;
    secondEnds = again == Again::endsAtOnce;
    SetConsoleCtrlHandler(noteInterrupt, TRUE);
}

InterruptNote::~InterruptNote() {
    SetConsoleCtrlHandler(noteInterrupt, FALSE);
}

bool InterruptNote::pressed() noexcept {
    return interrupted;
}

std::string toUtf8(std::wstring_view wide) {
    return utf8FromWide(wide);
}

std::string toUtf8(const std::string& ansi) {
    return toUtf8(toWide(ansi));
}

std::optional<std::string> fromUtf8(const std::string& utf8) {
    if (!isUtf8(utf8)) return std::nullopt;
    const std::wstring wide = wideFromUtf8(utf8);
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
    const std::wstring words = systemWords(code);
    const std::string number = "error " + std::to_string(code);
    return words.empty() ? number : toUtf8(words) + " (" + number + ")";
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
