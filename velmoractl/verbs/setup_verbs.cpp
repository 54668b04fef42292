#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "platform/handle.h"
#include "platform/registry.h"
#include "port/delivery_directory.h"
#include "port/policy_store.h"
#include "port/settings.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/setup/installed_settings.h"
#include "velmoractl/setup/library_check.h"
#include "velmoractl/setup/placed_file.h"
#include "velmoractl/setup/spooler_service.h"
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
    bool allowDowngrade = false;
    bool restartSpooler = false;
    std::string policy;
    std::string ports;
    bool dryRun = false;
};

constexpr char kLibrary[] = "Velmora.dll";
constexpr char kSettings[] = "Velmora.dat";
constexpr char kStrings[] = "Strings";
constexpr char kNoPolicy[] = "none";

using UniqueFind = UniqueHandle<HANDLE, FindClose, NoHandle::invalid>;

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
        throw CommandError(ExitCode::usage, what, "it works on this computer only",
                           "run it on " + quotedAnsi(session.server));
    }
    if (isWrongBitness()) {
        throw CommandError(ExitCode::usage, what, "this is the 32-bit program, Windows is 64-bit",
                           "run velmoractl from the folder x64");
    }
}

/// The program's folder, or the one above it with the languages in it.
std::array<std::string, 3> settingsFolders(const std::string& from) {
    return {from, from + "\\languages", from + "\\..\\languages"};
}

/// The codes of the languages for which there are files, "de, fr".
std::string languagesBeside(const std::string& from) {
    std::vector<std::string> codes;
    for (const std::string& folder : settingsFolders(from)) {
        WIN32_FIND_DATAA found{};
        const UniqueFind search(FindFirstFileA((folder + "\\Velmora.*.dat").c_str(), &found));
        if (!search) continue;
        do {
            const std::string name = found.cFileName;
            constexpr std::size_t kBefore = 8;  // "Velmora."
            constexpr std::size_t kAfter = 4;   // ".dat"
            if (name.size() > kBefore + kAfter) {
                codes.push_back(name.substr(kBefore, name.size() - kBefore - kAfter));
            }
        } while (FindNextFileA(search.get(), &found));
    }
    std::ranges::sort(codes);
    std::string text;
    for (const std::string& code : codes)
        text += (text.empty() ? "" : ", ") + toUtf8(code);
    return text;
}

/// The settings file to install, in the language that was asked for.
std::string settingsSource(const SetupOptions& options, const std::string& from,
                           const std::string& what) {
    const std::string file =
        options.language.empty() ? kSettings : "Velmora." + options.language + ".dat";
    for (std::string path : settingsFolders(from)) {
        path += '\\';
        path += file;
        if (fileExists(path)) return path;
    }
    const std::string languages = languagesBeside(from);
    throw CommandError(
        ExitCode::usage, what, "there is no " + quotedAnsi(file) + " in " + quotedPath(from),
        options.language.empty() || languages.empty() ? "name the folder of the files with --from"
                                                      : "the languages are " + languages);
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
            return "has been replaced while it was in use";
    }
    return "";
}

const char* keywordOf(FileChange change) {
    switch (change) {
        case FileChange::same:
            return "same";
        case FileChange::copied:
            return "copied";
        case FileChange::replaced:
            return "replaced";
        case FileChange::replacedInUse:
            return "replaced-in-use";
    }
    return "";
}

/// What became of the settings file; none if it was kept as it was.
using SettingsChange = std::optional<FileChange>;

std::string inWords(const SettingsChange& change) {
    return change ? inWords(*change) : "is kept as it was";
}

/// Writes the names that the monitor is known by into the copy of the new settings: other texts
/// must not make it look for its ports under other names.
void keepNames(const std::string& copy, bool replaceNames) {
    const ProfileFile settings(copy);
    // A file of another kind has no such section.
    std::array<char, 4> section{};
    if (GetPrivateProfileSectionA(kStrings, section.data(), section.size(), copy.c_str()) == 0) {
        throw CommandError(ExitCode::usage, "checking the new settings file",
                           "it has no section [Strings]", "take the file from the download again");
    }
    for (const char* name : {"Port Monitor Name", "AppRegKey"}) {
        const std::string kept = settingsFile().read(kStrings, name);
        if (kept.empty() || replaceNames || settings.read(kStrings, name) == kept) continue;
        settings.write(kStrings, name, kept);
        if (settings.read(kStrings, name) != kept) {
            throw systemError("writing " + quotedPath(copy), ERROR_WRITE_FAULT,
                              "check that there is room");
        }
    }
    // Windows keeps what it has last read of such a file.
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, copy.c_str());
}

/// The new settings beside the old ones; null if those are kept as they are.
std::unique_ptr<PlacedFile> newSettings(const SetupOptions& options, const std::string& source) {
    const bool wanted = options.replaceSettings || !options.language.empty();
    if (fileExists(installed(kSettings)) && !wanted) return nullptr;
    auto file = std::make_unique<PlacedFile>(
        source, installed(kSettings),
        [&](const std::string& copy) { keepNames(copy, options.replaceSettings); });
    file->keepOld();
    return file;
}

/// Both files, or neither of them.
void placeFiles(const SetupOptions& options, const std::string& from, const std::string& source,
                FileChange& libraryChange, SettingsChange& settingsChange) {
    const std::string name = from + "\\" + kLibrary;
    PlacedFile library(name, installed(kLibrary), [&](const std::string& copy) {
        checkLibrary(copy, name, installed(kLibrary),
                     options.allowDowngrade ? Downgrade::allowed : Downgrade::refused);
    });
    const std::unique_ptr<PlacedFile> settings = newSettings(options, source);
    try {
        if (settings != nullptr) settingsChange = settings->commit();
        libraryChange = library.commit();
    } catch (...) {
        if (settings != nullptr) settings->undo();
        WritePrivateProfileStringA(nullptr, nullptr, nullptr, settingsFile().path().c_str());
        throw;
    }
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, settingsFile().path().c_str());
}

enum class PolicyChange { kept, leftOut, written };

const char* keywordOf(PolicyChange change) {
    switch (change) {
        case PolicyChange::kept:
            return "kept";
        case PolicyChange::leftOut:
            return "left-out";
        case PolicyChange::written:
            return "written";
    }
    return "";
}

const char* inWords(PolicyChange change) {
    switch (change) {
        case PolicyChange::kept:
            return "is kept as it was";
        case PolicyChange::leftOut:
            return "has been left out";
        case PolicyChange::written:
            return "has been written";
    }
    return "";
}

/// An administrator's decisions are kept: only a computer without a policy gets one.
PolicyChange placePolicy(const SetupOptions& options, const std::string& what) {
    if (hasPolicy(installedKey())) return PolicyChange::kept;
    if (options.policy == kNoPolicy) return PolicyChange::leftOut;
    if (!createPolicy(installedKey(), installedPolicy())) {
        throw systemError(what + ", writing the policy", ERROR_REGISTRY_IO_FAILED,
                          "run the command as administrator");
    }
    return PolicyChange::written;
}

/// Deletes the libraries that were in use when newer ones took their place. True if one still is:
/// the spooler runs an old one.
bool oldLibraryInUse() {
    bool inUse = false;
    WIN32_FIND_DATAA found{};
    const UniqueFind search(FindFirstFileA((installed(kLibrary) + ".old*").c_str(), &found));
    if (!search) return false;
    do {
        const std::string old = systemDirectory() + "\\" + found.cFileName;
        if (!DeleteFileA(old.c_str()) && isInUse(GetLastError())) inUse = true;
    } while (FindNextFileA(search.get(), &found));
    return inUse;
}

/// What became of the spooler, and why it does not yet use the new library, if so.
struct Restart {
    std::vector<WaitingJob> waiting;
    bool done = false;
    std::optional<CommandError> wanted;
};

Restart restartIfAsked(const SetupOptions& options, bool libraryWasInUse, const std::string& what) {
    Restart result;
    if (options.restartSpooler) {
        result.waiting = waitingJobs();
        try {
            restartSpooler();
            result.done = true;
            oldLibraryInUse();
        } catch (const CommandError& error) {
            if (error.code() != ExitCode::restartNeeded) throw;
            result.wanted = error;
        }
    } else if (oldLibraryInUse() || libraryWasInUse) {
        result.wanted = CommandError(ExitCode::restartNeeded, what,
                                     "it is done, but the spooler still uses the old library",
                                     "restart it: velmoractl install --restart-spooler");
    }
    return result;
}

void sayRestart(const Session& session, const Restart& restart) {
    if (!restart.done) return;
    session.say("The spooler has been restarted.");
    if (restart.waiting.empty()) return session.say("No job was waiting.");
    session.say("These jobs were waiting, and are still in their queues:");
    for (const WaitingJob& job : restart.waiting)
        session.say("  " + quotedAnsi(job.printer) + ", job " + std::to_string(job.id) + ", " +
                    quotedAnsi(job.document));
}

Json jobsJson(const std::vector<WaitingJob>& jobs) {
    Json list = Json::array();
    for (const WaitingJob& job : jobs)
        list.push_back(
            {{"printer", toUtf8(job.printer)}, {"id", job.id}, {"document", toUtf8(job.document)}});
    return list;
}

struct Installed {
    FileChange library;
    SettingsChange settings;
    PolicyChange policy;
    bool registered;
};

Installed carryOut(const SetupOptions& options, const std::string& from, const std::string& what) {
    const std::string source = settingsSource(options, from, what);
    // Throws when the spooler cannot be asked, before anything is changed.
    monitorInstalled("", installedSetting("Port Monitor Name"));
    Installed result{};
    placeFiles(options, from, source, result.library, result.settings);
    // Before the monitor runs: nothing it stores is to be readable by everybody even for a moment.
    if (const DWORD error = restrictKey(installedKey()); error != 0) {
        throw systemError(what + ", the rights of the registry key", error,
                          "run the command as administrator");
    }
    result.policy = placePolicy(options, what);
    if (!registerEventSource(installed(kLibrary))) {
        throw systemError(what + ", registering with the event log", ERROR_REGISTRY_IO_FAILED,
                          "run the command as administrator");
    }
    if (const DWORD error = makeDeliveryDirectory(); error != 0) {
        throw systemError(what + ", the directory of the record of deliveries", error,
                          "run the command as administrator");
    }
    const std::string monitor = installedSetting("Port Monitor Name");
    result.registered = !monitorInstalled("", monitor);
    if (result.registered) {
        const DWORD error = addMonitor(monitor, kLibrary);
        if (error != 0 && error != ERROR_PRINT_MONITOR_ALREADY_INSTALLED) {
            throw spoolerError(what + ", registering with the spooler", error);
        }
    }
    return result;
}

void install(const Session& session, const SetupOptions& options) {
    const std::string what = "install";
    requireLocal(session, what);
    const std::string from = options.from.empty() ? programFolder() : options.from;
    if (!fileExists(from + "\\" + kLibrary)) {
        throw CommandError(ExitCode::usage, what, "there is no Velmora.dll in " + quotedPath(from),
                           "name the folder of the files with --from");
    }
    const Installed result = carryOut(options, from, what);
    const std::string monitor = installedSetting("Port Monitor Name");
    const Restart restart =
        restartIfAsked(options, result.library == FileChange::replacedInUse, what);
    if (session.wantsJson()) {
        session.answer({{"library", keywordOf(result.library)},
                        {"settings", result.settings ? keywordOf(*result.settings) : "kept"},
                        {"registry-key", toUtf8(installedKey())},
                        {"policy", keywordOf(result.policy)},
                        {"monitor", toUtf8(monitor)},
                        {"registered-now", result.registered},
                        {"restarted", restart.done},
                        {"restart-needed", restart.wanted.has_value()},
                        {"waiting-jobs", jobsJson(restart.waiting)}});
    }
    session.say(quotedPath(installed(kLibrary)) + " " + inWords(result.library) + ".");
    session.say(quotedPath(installed(kSettings)) + " " + inWords(result.settings) + ".");
    session.say("The registry key " + quotedPath("HKEY_LOCAL_MACHINE\\" + installedKey()) +
                " is open only to the system and to administrators.");
    session.say(std::string("The policy below it ") + inWords(result.policy) + ".");
    session.say("The monitor " + quotedAnsi(monitor) +
                (result.registered ? " has been registered with the spooler."
                                   : " is already registered with the spooler."));
    sayRestart(session, restart);
    if (restart.wanted) throw CommandError(*restart.wanted);
    session.say("Next: velmoractl port add NAME --url URL");
}

/// "keep" or "remove"; asks if the command line has neither and there is a console.
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
    std::size_t removed = 0;
    try {
        for (const std::string& name : channel.portNames()) {
            channel.removePort(name);
            ++removed;
        }
    } catch (const CommandError& error) {
        throw CommandError(error.code(), "uninstall, " + error.subject(),
                           error.why() + "; " + std::to_string(removed) +
                               " other ports have been removed, all else is as it was",
                           error.remedy(), error.keyword());
    }
    channel.clearDirectory("uninstall, removing the printer directory");
    session.say("The ports and the printer directory have been removed.");
}

/// Registration and ports. False when the spooler does not know the monitor.
bool unregister(const Session& session, const SetupOptions& options, const std::string& monitor,
                std::string& choice, const std::string& what) {
    if (!monitorInstalled("", monitor)) return false;
    {
        MonitorChannel channel(session);
        const std::vector<std::string> ports = channel.portNames();
        checkUnused(session, ports, what);
        if (options.dryRun) return true;
        choice = choosePorts(options, ports.size() + channel.directorySize(), what);
        if (choice == "remove") {
            // Before the first port is gone: an open dialog keeps the directory.
            const auto lock = channel.lockDirectory(what);
            removePorts(session, channel);
        }
    }
    const std::string gone =
        choice == "remove" ? "; the ports and the printer directory have been removed" : "";
    const DWORD error = deleteMonitor(monitor);
    if (error == ERROR_PRINT_MONITOR_IN_USE) {
        throw CommandError(ExitCode::conflict, what, errorText(error) + gone,
                           "delete the printers that print to its ports first");
    }
    if (error != 0) {
        const CommandError reason = spoolerError(what, error);
        throw CommandError(reason.code(), what, reason.why() + gone, reason.remedy(),
                           reason.keyword());
    }
    session.say("The monitor " + quotedAnsi(monitor) + " is no longer registered.");
    return true;
}

void sayRemoval(const Session& session, const char* file, FileRemoval removal) {
    if (removal == FileRemoval::absent) return;
    session.say(quotedPath(installed(file)) +
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
    // Throws when the spooler cannot be asked, before anything is changed: a registration that is
    // left without its library keeps the spooler from loading it.
    const bool known = unregister(session, options, monitor, choice, what);
    if (options.dryRun) {
        if (session.wantsJson()) session.answer({{"was-installed", known}, {"ports", "keep"}});
        return session.say("Nothing stands in the way; nothing has been changed.");
    }
    const bool library = fileExists(installed(kLibrary));
    const bool rest =
        choice == "remove" && (fileExists(installed(kSettings)) || RegistryKey::open(key));
    if (!known && !library && !rest) {
        if (session.wantsJson()) session.answer({{"was-installed", false}, {"ports", choice}});
        return session.say("Velmora is not installed; there was nothing to undo.");
    }
    removeEventSource();
    sayRemoval(session, kLibrary, removeFile(installed(kLibrary)));
    if (choice == "remove") {
        // The monitor is gone; what it has left is an empty directory.
        RegistryKey::deleteTree(key);
        removeEmptyKeys(key);
        sayRemoval(session, kSettings, removeFile(installed(kSettings)));
    } else {
        session.say("The settings stay in the registry and in " + quotedPath(installed(kSettings)) +
                    " for a later install.");
    }
    if (session.wantsJson()) {
        session.answer({{"was-installed", known || library}, {"ports", choice}});
    }
}

}  // namespace

void addSetupVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<SetupOptions>();
    Verb in =
        addVerb(app, session, "install", "set the monitor up on this computer; can be repeated",
                "install --language de", [&session, options] { install(session, *options); });
    in.text("--from", options->from, "the folder of Velmora.dll (default: this program's)",
            "FOLDER");
    in.text("--language", options->language,
            "texts of the dialogs, such as de (default: those that are "
            "installed, or English)",
            "CODE");
    in.flag("--replace-settings", options->replaceSettings,
            "replace a settings file that is already there, the monitor's name and the registry "
            "key in it too");
    in.flag("--allow-downgrade", options->allowDowngrade,
            "install a Velmora.dll that is older than the installed one");
    in.flag("--restart-spooler", options->restartSpooler,
            "stop and start the spooler afterwards, so that it uses the new library");
    in.oneOf("--policy", options->policy,
             "what a computer without a policy gets: the standard one (default) or none",
             {"standard", kNoPolicy});
    Verb out =
        addVerb(app, session, "uninstall", "remove the monitor from this computer",
                "uninstall --ports keep", [&session, options] { uninstall(session, *options); });
    out.oneOf("--ports", options->ports,
              "what becomes of ports, groups and printers (default: asks)", {"keep", "remove"});
    out.flag("--dry-run", options->dryRun, "only say whether anything stands in the way");
}

}  // namespace velmora::ctl
