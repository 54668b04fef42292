#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "velmoractl/command_error.h"
#include "velmoractl/text/text_codec.h"

namespace velmora::ctl {

// Text of the program is UTF-8. A console gets it in its own form, a file or pipe as it is.

void writeOut(std::string_view utf8);
void writeError(std::string_view utf8);
bool isConsole(DWORD standardHandle);

/// A line from the console, without its end; none at the end of the input. `echo` off for secrets.
std::optional<std::string> readLine(bool echo);

/// While it lives, Ctrl-C does not end the program but is recorded. One object at a time.
class InterruptNote {
  public:
    /// What a Ctrl-C after the first one does.
    enum class Again {
        noted,
        endsAtOnce,  ///< the process, with ExitCode::cancelled
    };
    explicit InterruptNote(Again again = Again::noted);
    ~InterruptNote();
    InterruptNote(const InterruptNote&) = delete;
    InterruptNote& operator=(const InterruptNote&) = delete;

    static bool pressed() noexcept;
};

std::string toUtf8(const std::string& ansi);
std::string toUtf8(std::wstring_view wide);
/// Empty if the ANSI code page lacks a character, or the bytes are not valid UTF-8.
std::optional<std::string> fromUtf8(const std::string& utf8);
const TextCodec& systemCodec();

/// The system's message for a Win32 or WinInet error code, with the code, on one line.
std::string errorText(DWORD code);

/// A CommandError with the system's reason. ERROR_ACCESS_DENIED becomes ExitCode::accessDenied,
/// with the advice to run the command as administrator.
CommandError systemError(const std::string& what, DWORD code, const std::string& remedy);

/// The same for a call of the spooler: names the way to start it.
CommandError spoolerError(const std::string& what, DWORD code);

/// Stored text (ANSI) for a terminal, in quotes.
std::string quotedAnsi(const std::string& ansi);
/// The same for a URL, whose password, if it has one, is not shown.
std::string quotedUrl(const std::string& ansi);
/// A local path (ANSI), in quotes and so that it can be pasted: backslashes stay single.
std::string quotedPath(const std::string& ansi);

}  // namespace velmora::ctl
