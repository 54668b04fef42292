#include "velmoractl/verbs/port_checks.h"

#include <windows.h>

#include <algorithm>

#include "directory/directory_records.h"
#include "ipp/printer_url.h"
#include "port/url_text.h"
#include "velmoractl/internet.h"
#include "velmoractl/spooler_queues.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

std::vector<std::string> printersOf(const std::vector<Queue>& queues, const std::string& port) {
    std::vector<std::string> names;
    for (const Queue& queue : queues) {
        const std::vector<std::string> ports = portsOfQueue(queue.description.port);
        if (std::ranges::find(ports, port) != ports.end()) names.push_back(queue.description.name);
    }
    return names;
}

/// The node that the path would name if case did not matter; null if none.
const CGroupsDBNode* similarNode(const DirectoryPaths& names, std::string_view path) {
    if (path.starts_with('/')) path.remove_prefix(1);
    const CGroupsDBNode* node = names.find("/");
    while (node != nullptr && !path.empty()) {
        const std::size_t slash = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, slash));
        const CGroupsDBNode* const same = names.child(node->id, name);
        node = same != nullptr ? same : similarSibling(names, node->id, name);
        path.remove_prefix(std::min(slash + 1, path.size()));
    }
    return node;
}

/// What to do when nothing has that name: another one may only be written differently.
std::string missingRemedy(const DirectoryPaths& names, const std::string& path,
                          std::uint32_t type) {
    const CGroupsDBNode* const similar = similarNode(names, path);
    if (similar == nullptr || similar->type != type) {
        return std::string("\"") + nodeWord(type) + " list\" shows what there is";
    }
    return "there is " + quotedAnsi(names.pathOf(similar->id)) + "; " + std::string(kCaseRule);
}

}  // namespace

bool hasControlCharacter(const std::string& text) {
    return std::ranges::any_of(
        text, [](char c) { return static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F; });
}

void checkNewPortName(const std::string& name, const std::string& what) {
    std::string why;
    if (name.empty()) why = "the name is empty";
    if (name.size() > kLongestName) why = "the name is longer than 255 bytes";
    if (hasControlCharacter(name)) why = "the name holds a control character";
    // To the registry a backslash separates the names of two keys.
    if (name.find('\\') != std::string::npos) why = "the name holds a backslash";
    // In a printer's settings a comma separates two ports.
    if (name.find(',') != std::string::npos) why = "the name holds a comma";
    if (why.empty()) return;
    throw CommandError(ExitCode::usage, what, why,
                       "choose a name of 1 to 255 bytes without backslash, comma and control "
                       "characters");
}

void addUrlRules(Verb verb, UrlRules& rules) {
    verb.flag("--allow-unencrypted", rules.allowUnencrypted,
              "take ipps:// and HTTPS://, which are sent without encryption");
}

void checkNoUserInfo(const std::string& url, const std::string& what) {
    if (!hasUserInfo(url)) return;
    throw CommandError(ExitCode::usage, what,
                       quotedUrl(withoutUserInfo(url)) +
                           " was given with a user name in it, which the printer would be sent "
                           "as a part of its address",
                       "leave it out of the URL, and use --user and --password-stdin (in a file "
                       "\"user\" and \"password\")",
                       "password-in-url");
}

void checkUrl(const std::string& url, const UrlRules& rules, const std::string& what) {
    checkNoUserInfo(url, what);
    const UrlReading reading = readUrl(url);
    const auto refuse = [&](const std::string& why, const std::string& remedy) {
        throw CommandError(ExitCode::usage, what, quotedAnsi(url) + " cannot be used: " + why,
                           remedy, "bad-url");
    };
    const std::string example =
        "give one such as ipp://printer.example/ipp/print or "
        "https://printer.example:631/ipp/print";
    if (hasControlCharacter(url)) refuse("it holds a control character", example);
    if (!reading.usable) refuse(reading.problem, example);
    if (!IsValidPrinterUrl(url)) refuse("Windows does not take it for a URL", example);
    if (!reading.knownScheme) {
        refuse("the scheme " + quotedAnsi(reading.scheme) + " is not one of ipp, http and https",
               example);
    }
    if (reading.badPort) refuse("there is no such port", "give a port from 1 to 65535");
    if (reading.onlyLooksSecure && !rules.allowUnencrypted) {
        refuse("the monitor would send to it without encryption",
               "write https:// in small letters, with the port, as in https://" +
                   toUtf8(reading.host) + ":631/; or add --allow-unencrypted");
    }
}

std::string foldedName(std::string name) {
    CharUpperBuffA(name.data(), static_cast<DWORD>(name.size()));
    return name;
}

const char* nodeWord(std::uint32_t type) {
    return type == NODE_PRINTER ? "printer" : "group";
}

const CGroupsDBNode* similarSibling(const DirectoryPaths& names, std::uint32_t group,
                                    const std::string& name) {
    const auto& children = names.children(group);
    const auto found = std::ranges::find_if(children, [&](const CGroupsDBNode* child) {
        return lstrcmpiA(child->name.c_str(), name.c_str()) == 0;
    });
    return found == children.end() ? nullptr : *found;
}

CGroupsDBNode& requireNode(const CGroupsDB& directory, const std::string& path, std::uint32_t type,
                           const std::string& what) {
    const DirectoryPaths names(directory);
    CGroupsDBNode* const node = names.find(path);
    if (node == nullptr || node->type != type) {
        throw CommandError(ExitCode::notFound, what,
                           std::string("there is no ") + nodeWord(type) + " " + quotedAnsi(path),
                           missingRemedy(names, path, type));
    }
    return *node;
}

const CGroupsDBGroup& requireGroup(const CGroupsDB& directory, const std::string& path,
                                   const std::string& what) {
    return static_cast<const CGroupsDBGroup&>(requireNode(directory, path, NODE_GROUP, what));
}

namespace {

/// Gives --password-stdin.
Option addPasswords(Verb verb, Credentials& credentials) {
    credentials.passwordOption =
        verb.text("--password", credentials.password,
                  "this password (others may see it in the list of processes)", "TEXT");
    Option input = verb.flag("--password-stdin", credentials.passwordFromInput,
                             "read the password from the keyboard or the standard input");
    return input.excludes(credentials.passwordOption);
}

}  // namespace

void addPasswordOptions(Verb verb, Credentials& credentials) {
    addPasswords(verb, credentials);
}

void addCredentialOptions(Verb verb, Credentials& credentials) {
    credentials.userOption =
        verb.text("--user", credentials.user, "the printer asks for this user name", "NAME");
    const Option input = addPasswords(verb, credentials);
    Option none =
        verb.flag("--no-authentication", credentials.none, "the printer asks for no user name");
    none.excludes(credentials.userOption).excludes(credentials.passwordOption).excludes(input);
}

void readPassword(Credentials& credentials, const std::string& what) {
    if (!credentials.passwordFromInput || credentials.passwordRead) return;
    const bool terminal = isConsole(STD_INPUT_HANDLE);
    if (terminal) writeError("Password: ");
    const std::optional<std::string> line = readLine(false);
    if (terminal) writeError("\n");
    if (!line) {
        throw CommandError(ExitCode::usage, what, "the standard input holds no password",
                           "type it, or send it through a pipe");
    }
    credentials.password = *line;
    credentials.passwordRead = true;
}

void applyCredentials(const Credentials& given, std::uint8_t& authentication, std::string& user,
                      std::string& password, const std::string& what) {
    if (given.none) {
        authentication = 0;
        user.clear();
        password.clear();
    }
    if (!given.given()) return;
    Credentials credentials = given;
    readPassword(credentials, what);
    if (credentials.userOption.given()) user = credentials.user;
    if (credentials.passwordOption.given() || credentials.passwordRead) {
        password = credentials.password;
    }
    if (user.empty()) {
        throw CommandError(ExitCode::usage, what, "a password is given without a user name",
                           "add --user NAME");
    }
    authentication = 1;
}

std::vector<std::string> printersOfPort(const Session& session, const std::string& port) {
    return printersOf(spoolerQueues(session.server, "port " + quotedAnsi(port)), port);
}

void checkUnused(const Session& session, const std::vector<std::string>& ports,
                 const std::string& what) {
    if (ports.empty()) return;
    const std::vector<Queue> queues = spoolerQueues(session.server, what);
    std::string found;
    std::size_t count = 0;
    for (const std::string& port : ports) {
        for (const std::string& printer : printersOf(queues, port)) {
            found += count++ == 0 ? "the printer " : ", ";
            found += quotedAnsi(printer) + " prints to the port " + quotedAnsi(port);
        }
    }
    if (count == 0) return;
    throw CommandError(ExitCode::conflict, what, found,
                       count == 1 ? "give that printer another port, or delete it, first"
                                  : "give these printers other ports, or delete them, first");
}

}  // namespace velmora::ctl
