#include "velmoractl/verbs/port_checks.h"

#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>
#undef AddPrinter

#include <algorithm>

#include "ipp/printer_url.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"

namespace velmora::ctl {
namespace {

constexpr std::size_t kLongestPortName = 255;
constexpr std::size_t kDialogArea = 1024;

bool hasControlCharacter(const std::string& text) {
    return std::ranges::any_of(
        text, [](char c) { return static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F; });
}

/// Windows keeps a printer's ports as one text.
bool namesPort(const std::string& ports, const std::string& port) {
    for (std::size_t begin = 0; begin <= ports.size();) {
        const std::size_t end = std::min(ports.find(',', begin), ports.size());
        if (ports.compare(begin, end - begin, port) == 0) return true;
        begin = end + 1;
    }
    return false;
}

}  // namespace

void checkNewPortName(const std::string& name, const std::string& what) {
    std::string why;
    if (name.empty()) why = "the name is empty";
    if (name.size() > kLongestPortName) why = "the name is longer than 255 characters";
    if (hasControlCharacter(name)) why = "the name holds a control character";
    // The registry takes what stands behind a backslash for a key of its own.
    if (name.find('\\') != std::string::npos) why = "the name holds a backslash";
    // In a printer's settings a comma stands between two ports.
    if (name.find(',') != std::string::npos) why = "the name holds a comma";
    if (why.empty()) return;
    throw CommandError(ExitCode::usage, what, why,
                       "choose a name of 1 to 255 characters without backslash and comma");
}

void checkUrl(const std::string& url, const std::string& what) {
    if (!url.empty() && !hasControlCharacter(url) && IsValidPrinterUrl(url)) return;
    throw CommandError(ExitCode::usage, what, quotedAnsi(url) + " is no printer URL",
                       "give one such as ipp://printer.example/ipp/print or "
                       "https://printer.example:631/ipp/print");
}

void checkSize(const PortConfig& port, const std::string& what) {
    const std::size_t size = packedSize(port);
    if (size <= kDialogArea) return;
    throw CommandError(ExitCode::usage, what,
                       "the port's settings are " + std::to_string(size) +
                           " bytes long, and the port dialog reads no more than 1024",
                       "use shorter texts, or put groups into one group above them");
}

const CGroupsDBGroup& requireGroup(const CGroupsDB& directory, const std::string& path,
                                   const std::string& what) {
    const CGroupsDBNode* const node = findNode(directory, path);
    if (node == nullptr || node->type != NODE_GROUP) {
        throw CommandError(ExitCode::notFound, what, "there is no group " + quotedAnsi(path),
                           "\"group list\" shows the groups");
    }
    return static_cast<const CGroupsDBGroup&>(*node);
}

void addCredentialOptions(Verb verb, Credentials& credentials) {
    credentials.userOption =
        verb.text("--user", credentials.user, "the printer asks for this user name", "NAME");
    credentials.passwordOption =
        verb.text("--password", credentials.password,
                  "and this password (others may see it in the list of processes)", "TEXT");
    Option input = verb.flag("--password-stdin", credentials.passwordFromInput,
                             "read the password from the keyboard or the standard input");
    Option none =
        verb.flag("--no-authentication", credentials.none, "the printer asks for no user name");
    input.excludes(credentials.passwordOption);
    none.excludes(credentials.userOption).excludes(credentials.passwordOption).excludes(input);
}

void applyCredentials(const Credentials& credentials, std::uint8_t& authentication,
                      std::string& user, std::string& password, const std::string& what) {
    if (credentials.none) {
        authentication = 0;
        user.clear();
        password.clear();
    }
    if (!credentials.given()) return;
    if (credentials.userOption.given()) user = credentials.user;
    if (credentials.passwordOption.given()) password = credentials.password;
    if (credentials.passwordFromInput) {
        if (isConsole(STD_INPUT_HANDLE)) writeError("Password: ");
        const std::optional<std::string> line = readLine(false);
        if (isConsole(STD_INPUT_HANDLE)) writeError("\n");
        if (!line) {
            throw CommandError(ExitCode::usage, what, "the standard input holds no password",
                               "type it, or send it through a pipe");
        }
        password = *line;
    }
    if (user.empty()) {
        throw CommandError(ExitCode::usage, what, "a password is given without a user name",
                           "add --user NAME");
    }
    authentication = 1;
}

std::vector<std::string> printersOfPort(const Session& session, const std::string& port) {
    // On another computer only the spooler itself can tell.
    if (!session.server.empty()) return {};
    constexpr DWORD kLevel = 5;
    DWORD needed = 0;
    DWORD count = 0;
    EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, kLevel, nullptr, 0, &needed, &count);
    std::vector<BYTE> area(needed);
    if (!EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, kLevel, area.data(), needed, &needed, &count)) {
        return {};
    }
    const auto* const info = reinterpret_cast<const PRINTER_INFO_5A*>(area.data());
    std::vector<std::string> names;
    for (DWORD i = 0; i < count; ++i) {
        const bool complete = info[i].pPortName != nullptr && info[i].pPrinterName != nullptr;
        if (complete && namesPort(info[i].pPortName, port)) names.push_back(info[i].pPrinterName);
    }
    return names;
}

void checkUnused(const Session& session, const std::string& port, const std::string& what) {
    const std::vector<std::string> printers = printersOfPort(session, port);
    if (printers.empty()) return;
    throw CommandError(
        ExitCode::conflict, what,
        "the printer " + quotedAnsi(printers.front()) + " prints to the port " + quotedAnsi(port),
        "give that printer another port, or delete it, first");
}

}  // namespace velmora::ctl
