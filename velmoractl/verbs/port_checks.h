#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "velmoractl/text/directory_paths.h"
#include "velmoractl/verbs/session.h"

namespace velmora {
class CGroupsDB;
struct CGroupsDBGroup;
}  // namespace velmora

namespace velmora::ctl {

// Checks of arguments; each throws a CommandError that begins with `what`.

/// Longest name of a port, a group or a printer, in bytes: what the platform's lists show.
inline constexpr std::size_t kLongestName = 255;

bool hasControlCharacter(const std::string& text);

/// What a new port's name may not be: empty, longer than the platform's lists show, or with a
/// character that makes the name mean something else to Windows.
void checkNewPortName(const std::string& name, const std::string& what);

/// What may be in a URL in addition to what is always allowed.
struct UrlRules {
    bool allowUnencrypted = false;
};
/// --allow-unencrypted.
void addUrlRules(Verb verb, UrlRules& rules);

/// A URL that the monitor can use, as IsValidPrinterUrl says, and that means what it says: with a
/// scheme and a port that the monitor takes, encrypted if it claims to be, without a password.
void checkUrl(const std::string& url, const UrlRules& rules, const std::string& what);
/// A URL with a password in it, which would be sent to the printer as a part of its address.
void checkNoUserInfo(const std::string& url, const std::string& what);

/// A port name as Windows compares it.
std::string foldedName(std::string name);

/// "group" or "printer".
const char* nodeWord(std::uint32_t type);

/// A member of the group whose name differs from `name` in capital and small letters at most; null
/// if none.
const CGroupsDBNode* similarSibling(const DirectoryPaths& names, std::uint32_t group,
                                    const std::string& name);

/// The group or printer of that path. ExitCode::notFound; what is there under a name that differs
/// in capital and small letters alone is named.
CGroupsDBNode& requireNode(const CGroupsDB& directory, const std::string& path, std::uint32_t type,
                           const std::string& what);
const CGroupsDBGroup& requireGroup(const CGroupsDB& directory, const std::string& path,
                                   const std::string& what);

/// --user, --password, --password-stdin and --no-authentication.
struct Credentials {
    std::string user;
    std::string password;
    bool passwordFromInput = false;
    bool passwordRead = false;  ///< `password` has come from the input
    bool none = false;
    Option userOption;
    Option passwordOption;

    bool given() const { return userOption.given() || passwordOption.given() || passwordFromInput; }
};

void addCredentialOptions(Verb verb, Credentials& credentials);
/// --password and --password-stdin alone.
void addPasswordOptions(Verb verb, Credentials& credentials);

/// Asks for the password if --password-stdin was given; it is as if --password had been then.
void readPassword(Credentials& credentials, const std::string& what);

/// Changes what was given and leaves the rest.
void applyCredentials(const Credentials& credentials, std::uint8_t& authentication,
                      std::string& user, std::string& password, const std::string& what);

/// The spooler's printers that print to the port, by name. Fails when the spooler cannot be asked.
std::vector<std::string> printersOfPort(const Session& session, const std::string& port);

/// ExitCode::conflict when printers print to a port: their jobs would have nowhere to go. Names all
/// of them.
void checkUnused(const Session& session, const std::vector<std::string>& ports,
                 const std::string& what);
inline void checkUnused(const Session& session, const std::string& port, const std::string& what) {
    checkUnused(session, std::vector<std::string>{port}, what);
}

}  // namespace velmora::ctl
