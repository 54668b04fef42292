#include <memory>
#include <nlohmann/json.hpp>

#include "platform/registry.h"
#include "port/policy_store.h"
#include "port/settings.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>
#undef AddPrinter

namespace velmora::ctl {
namespace {

struct SetupOptions {
    std::string from;
    std::string language;
    bool replaceSettings = false;
    std::string policy;
    std::string ports;
};

constexpr char kLibrary[] = "Velmora.dll";
constexpr char kSettings[] = "Velmora.dat";
constexpr char kStrings[] = "Strings";
constexpr char kNoPolicy[] = "none";

std::string programFolder() {
    std::vector<char> path(32768);
    const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::string text(path.data(), length);
    return text.substr(0, text.find_last_of('\\'));
}

std::string installed(const char* file) {
    return systemDirectory() + "\\" + file;
}

void requireLocal(const Session& session, const std::string& what) {
    if (!session.server.empty()) {
        throw CommandError(ExitCode::usage, what, "it works on this computer alone",
                           "run it on " + quotedAnsi(session.server));
    }
    if (isWrongBitness()) {
        throw CommandError(ExitCode::usage, what, "this is the 32-bit program, Windows is 64-bit",
                           "run velmoractl from the folder x64");
    }
}

/// The program's folder, or the one above it with the languages in it.
std::string settingsSource(const SetupOptions& options, const std::string& from,
                           const std::string& what) {
    const std::string file =
        options.language.empty() ? kSettings : "Velmora." + options.language + ".dat";
    for (const std::string& folder : {from, from + "\\languages", from + "\\..\\languages"}) {
        if (fileExists(folder + "\\" + file)) return folder + "\\" + file;
    }
    throw CommandError(ExitCode::usage, what,
                       "there is no " + quotedAnsi(file) + " in " + quotedAnsi(from),
                       options.language.empty() ? "name the folder of the files with --from"
                                                : "the folder languages holds what there is");
}

std::string inWords(FileChange change) {
    switch (change) {
        case FileChange::same:
            return "is already there";
        case FileChange::copied:
            return "has been copied";
        case FileChange::replaced:
            return "has been replaced";
        case FileChange::replacedInUse:
            return "has been replaced; restart the spooler to use the new one";
    }
    return "";
}

/// Other texts must not make the monitor look for its ports under other names.
std::string placeSettings(const SetupOptions& options, const std::string& source) {
    const bool there = fileExists(installed(kSettings));
    const bool wanted = options.replaceSettings || !options.language.empty();
    if (there && !wanted) return "is kept as it was";
    constexpr const char* kNames[] = {"Port Monitor Name", "AppRegKey"};
    std::vector<std::string> kept;
    for (const char* name : kNames)
        kept.push_back(settingsFile().read(kStrings, name));
    const FileChange change = placeFile(source, installed(kSettings));
    if (change == FileChange::same) return inWords(change);
    // Windows keeps what it has last read of such a file.
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, settingsFile().path().c_str());
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (kept[i].empty() || options.replaceSettings) continue;
        if (settingsFile().read(kStrings, kNames[i]) != kept[i]) {
            settingsFile().write(kStrings, kNames[i], kept[i]);
        }
    }
    return inWords(change);
}

/// An administrator's decisions are kept: only a computer without a policy gets one.
std::string placePolicy(const SetupOptions& options, const std::string& what) {
    if (hasPolicy(installedKey())) return "is kept as it was";
    if (options.policy == kNoPolicy) return "has been left out";
    if (!createPolicy(installedKey(), installedPolicy())) {
        throw systemError(what + ", writing the policy", ERROR_REGISTRY_IO_FAILED,
                          "run the command as administrator");
    }
    return "has been written";
}

struct Installed {
    FileChange library;
    std::string settings;
    std::string policy;
    bool registered;
};

Installed carryOut(const SetupOptions& options, const std::string& from, const std::string& what) {
    const std::string source = settingsSource(options, from, what);
    Installed result{};
    result.library = placeFile(from + "\\" + kLibrary, installed(kLibrary));
    result.settings = placeSettings(options, source);
    // Before the monitor runs: nothing it stores is to be readable by everybody even for a moment.
    if (const DWORD error = restrictKey(installedKey()); error != 0) {
        throw systemError(what + ", the rights of the registry key", error,
                          "run the command as administrator");
    }
    result.policy = placePolicy(options, what);
    const std::string monitor = installedSetting("Port Monitor Name");
    result.registered = !monitorInstalled("", monitor);
    if (result.registered) {
        const DWORD error = addMonitor(monitor, kLibrary);
        if (error != 0 && error != ERROR_PRINT_MONITOR_ALREADY_INSTALLED) {
            throw systemError(what + ", registering with the spooler", error,
                              "check that the spooler is running");
        }
    }
    return result;
}

void install(const Session& session, const SetupOptions& options) {
    const std::string what = "install";
    requireLocal(session, what);
    const std::string from = options.from.empty() ? programFolder() : options.from;
    if (!fileExists(from + "\\" + kLibrary)) {
        throw CommandError(ExitCode::usage, what, "there is no Velmora.dll in " + quotedAnsi(from),
                           "name the folder of the files with --from");
    }
    const Installed result = carryOut(options, from, what);
    const std::string monitor = installedSetting("Port Monitor Name");
    if (session.json) {
        session.answer({{"library", inWords(result.library)},
                        {"settings", result.settings},
                        {"registry-key", toUtf8(installedKey())},
                        {"policy", result.policy},
                        {"monitor", toUtf8(monitor)},
                        {"registered-now", result.registered}});
    }
    session.say(quotedAnsi(installed(kLibrary)) + " " + inWords(result.library) + ".");
    session.say(quotedAnsi(installed(kSettings)) + " " + result.settings + ".");
    session.say("The registry key " + quotedAnsi("HKEY_LOCAL_MACHINE\\" + installedKey()) +
                " is open to the system and to administrators alone.");
    session.say("The policy below it " + result.policy + ".");
    session.say("The monitor " + quotedAnsi(monitor) +
                (result.registered ? " has been registered with the spooler."
                                   : " is already registered with the spooler."));
    session.say("Next: velmoractl port add NAME --url URL");
}

/// "keep" or "remove"; asks when nobody has said it and somebody can.
std::string choosePorts(const SetupOptions& options, std::size_t count, const std::string& what) {
    if (!options.ports.empty()) return options.ports;
    if (count == 0) return "remove";
    if (!isConsole(STD_INPUT_HANDLE)) {
        throw CommandError(
            ExitCode::usage, what,
            "there are " + std::to_string(count) + " ports, groups and printers, and nobody to ask",
            "add --ports keep (their settings stay for a later install) or "
            "--ports remove");
    }
    for (;;) {
        writeError("There are " + std::to_string(count) +
                   " ports, groups and printers. Keep their settings for a later install, remove "
                   "them, or cancel? "
                   "[keep/remove/cancel] ");
        const std::optional<std::string> line = readLine(true);
        if (line == "keep" || line == "remove") return *line;
        if (!line || line->empty() || line == "cancel") {
            throw CommandError(ExitCode::cancelled, what, "you have cancelled it",
                               "nothing has been changed");
        }
    }
}

void removePorts(const Session& session, MonitorChannel& channel) {
    for (const std::string& name : channel.portNames())
        channel.removePort(name);
    CGroupsDB empty = channel.directory();
    std::vector<CGroupsDBNode*> children;
    empty.GetChildren(kRootGroup, children);
    for (const CGroupsDBNode* child : children)
        empty.DeleteNode(child->id);
    channel.storeDirectory(empty);
    session.say("The ports and the printer directory have been removed.");
}

/// Registration and ports. False when the spooler does not know the monitor.
bool unregister(const Session& session, const SetupOptions& options, const std::string& monitor,
                std::string& choice, const std::string& what) {
    if (!monitorInstalled("", monitor)) return false;
    {
        MonitorChannel channel(session);
        const std::vector<std::string> ports = channel.portNames();
        for (const std::string& port : ports)
            checkUnused(session, port, what);
        // The root group is always there.
        const std::size_t nodes = channel.directory().nodes().size();
        choice = choosePorts(options, ports.size() + (nodes > 0 ? nodes - 1 : 0), what);
        if (choice == "remove") removePorts(session, channel);
    }
    const DWORD error = deleteMonitor(monitor);
    if (error == ERROR_PRINT_MONITOR_IN_USE) {
        throw CommandError(ExitCode::conflict, what, errorText(error),
                           "delete the printers that print to its ports first");
    }
    if (error != 0) throw systemError(what, error, "check that the spooler is running");
    session.say("The monitor " + quotedAnsi(monitor) + " is no longer registered.");
    return true;
}

void sayRemoval(const Session& session, const char* file, FileRemoval removal) {
    if (removal == FileRemoval::absent) return;
    session.say(quotedAnsi(installed(file)) +
                (removal == FileRemoval::removed
                     ? " has been deleted."
                     : " is in use and will be deleted at the next start of Windows."));
}

void uninstall(const Session& session, const SetupOptions& options) {
    const std::string what = "uninstall";
    requireLocal(session, what);
    const std::string monitor = installedSetting("Port Monitor Name");
    const std::string key = installedKey();
    std::string choice = options.ports.empty() ? "keep" : options.ports;
    const bool known = unregister(session, options, monitor, choice, what);
    const bool files = fileExists(installed(kLibrary));
    sayRemoval(session, kLibrary, removeFile(installed(kLibrary)));
    if (choice == "remove") {
        // The monitor is gone; what it has left is an empty directory.
        RegistryKey::deleteTree(key);
        removeEmptyKeys(key);
        sayRemoval(session, kSettings, removeFile(installed(kSettings)));
    } else {
        session.say("The settings stay in the registry and in " + quotedAnsi(installed(kSettings)) +
                    " for a later install.");
    }
    if (!known && !files) session.say("Velmora is not installed; there was nothing to undo.");
    if (session.json) session.answer({{"was-installed", known || files}, {"ports", choice}});
}

}  // namespace

void addSetupVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<SetupOptions>();
    Verb in =
        addVerb(app, session, "install", "set the monitor up on this computer; can be repeated",
                "install --language de", [&session, options] { install(session, *options); });
    in.text("--from", options->from, "folder of Velmora.dll (default: this program's)", "FOLDER");
    in.text("--language", options->language, "texts of the dialogs, such as de", "CODE");
    in.flag("--replace-settings", options->replaceSettings,
            "replace a settings file that is already there, the monitor's name and the registry "
            "key in it too");
    in.oneOf("--policy", options->policy,
             "what a computer without a policy gets: the standard one (default) or none",
             {"standard", kNoPolicy});
    Verb out =
        addVerb(app, session, "uninstall", "remove the monitor from this computer",
                "uninstall --ports keep", [&session, options] { uninstall(session, *options); });
    out.oneOf("--ports", options->ports, "what becomes of the ports: keep or remove",
              {"keep", "remove"});
}

}  // namespace velmora::ctl
