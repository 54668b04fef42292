#include "velmoractl/setup/computer.h"

#include "port/settings.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/library_check.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr char kRights[] = "run the command as an administrator of that computer";

CommandError unreachable(const std::string& what, DWORD error, const std::string& remedy,
                         const char* keyword) {
    if (error == ERROR_ACCESS_DENIED)
        return {ExitCode::accessDenied, what, errorText(error), kRights};
    return {ExitCode::failed, what, errorText(error), remedy, keyword};
}

/// Of the spooler itself: Windows of 64 bits has one of 64 bits.
WORD machineOfSpooler(const std::string& system, const std::string& what) {
    const std::string spooler = system + "\\spoolsv.exe";
    if (const WORD machine = machineOf(spooler); machine != 0) return machine;
    throw CommandError(
        ExitCode::failed, what,
        "what kind of Windows it has cannot be told: " + quotedPath(spooler) + " cannot be read",
        "check the computer's share ADMIN$", "share-unreachable");
}

}  // namespace

Computer::Computer(const std::string& server, const std::string& what)
    : server_(server), system_(systemDirectory()), machine_(ownMachine()) {
    if (isLocal()) {
        if (system_.empty())
            throw systemError(what + ", the system directory", GetLastError(), "try again");
        return;
    }
    system_ = server + "\\admin$\\System32";
    const std::string share = what + ", the share " + quotedPath(server + "\\admin$");
    if (GetFileAttributesA(system_.c_str()) == INVALID_FILE_ATTRIBUTES) {
        throw unreachable(share, GetLastError(),
                          "check that the computer is on and shares files with administrators",
                          "share-unreachable");
    }
    machine_ = machineOfSpooler(system_, share);
    const LSTATUS error = RegConnectRegistryA(server.c_str(), HKEY_LOCAL_MACHINE, registry_.put());
    if (error != ERROR_SUCCESS) {
        throw unreachable(
            what + ", the registry of " + quotedPath(server), static_cast<DWORD>(error),
            "check that its service \"Remote Registry\" can be reached", "registry-unreachable");
    }
}

std::string Computer::ownPath(const std::string& name) const {
    return isLocal() ? file(name) : "%SystemRoot%\\System32\\" + name;
}

std::string Computer::setting(const char* key) const {
    return settingIn(settings(), key);
}

std::string Computer::monitorKey() const {
    return monitorRegistryKey(setting("AppRegKey"));
}

}  // namespace velmora::ctl
