#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/setup/computer.h"
#include "velmoractl/setup/installation.h"
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

/// On 64-bit Windows the 32-bit program sees other files and another registry than the spooler,
/// also those of other computers.
void checkBitness(const std::string& what) {
    if (!isWrongBitness()) return;
    throw CommandError(ExitCode::usage, what, "this is the 32-bit program, Windows is 64-bit",
                       "run velmoractl from the folder x64");
}

/// " on NAME", or nothing for this computer.
std::string onComputer(const Computer& computer) {
    return computer.isLocal() ? std::string() : " on " + quotedPath(computer.server());
}

/// The registry key in words.
std::string shownKey(const Computer& computer) {
    const std::string root = computer.isLocal() ? "" : computer.server() + "\\";
    return quotedPath(root + "HKEY_LOCAL_MACHINE\\" + computer.monitorKey());
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

std::string inWords(const SettingsChange& change) {
    return change ? inWords(*change) : "is kept as it was";
}

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

/// The result for the spooler, and if it does not use the new library yet, why.
struct Restart {
    std::vector<WaitingJob> waiting;
    bool done = false;
    std::optional<CommandError> wanted;
};

Restart restartIfAsked(const Computer& computer, const SetupOptions& options, bool libraryWasInUse,
                       const std::string& what) {
    Restart result;
    if (options.restartSpooler) {
        result.waiting = waitingJobs(computer.server());
        try {
            restartSpooler(computer.server());
            result.done = true;
            oldLibraryInUse(computer);
        } catch (const CommandError& error) {
            if (error.code() != ExitCode::restartNeeded) throw;
            result.wanted = error;
        }
    } else if (oldLibraryInUse(computer) || libraryWasInUse) {
        result.wanted = CommandError(
            ExitCode::restartNeeded, what, "it is done, but the spooler still uses the old library",
            "restart it: velmoractl install --restart-spooler" +
                (computer.isLocal() ? "" : " --server " + toUtf8(computer.server())));
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

void install(const Session& session, const SetupOptions& options) {
    const std::string what = "install";
    checkBitness(what);
    const Computer computer(session.server, what);
    const std::string from = options.from.empty() ? defaultSource(computer) : options.from;
    if (!fileExists(from + "\\" + kLibrary)) {
        throw CommandError(ExitCode::usage, what, "there is no Velmora.dll in " + quotedPath(from),
                           "name the folder of the files with --from");
    }
    // Throws when the spooler cannot be asked, before anything is changed.
    monitorInstalled(computer.server(), computer.setting("Port Monitor Name"));
    session.noteServerAnswers();
    const Installed result = installOn(computer, options, from, what);
    const std::string monitor = computer.setting("Port Monitor Name");
    const Restart restart =
        restartIfAsked(computer, options, result.library == FileChange::replacedInUse, what);
    if (session.wantsJson()) {
        session.answer({{"library", keywordOf(result.library)},
                        {"settings", result.settings ? keywordOf(*result.settings) : "kept"},
                        {"registry-key", toUtf8(computer.monitorKey())},
                        {"policy", keywordOf(result.policy)},
                        {"monitor", toUtf8(monitor)},
                        {"registered-now", result.registered},
                        {"restarted", restart.done},
                        {"restart-needed", restart.wanted.has_value()},
                        {"waiting-jobs", jobsJson(restart.waiting)}});
    }
    session.say(quotedPath(computer.file(kLibrary)) + " " + inWords(result.library) + ".");
    session.say(quotedPath(computer.file(kSettings)) + " " + inWords(result.settings) + ".");
    session.say("The registry key " + shownKey(computer) +
                " is open only to the system and to administrators.");
    session.say(std::string("The policy below it ") + inWords(result.policy) + ".");
    session.say("The monitor " + quotedAnsi(monitor) +
                (result.registered ? " has been registered with the spooler."
                                   : " is already registered with the spooler."));
    sayRestart(session, restart);
    if (restart.wanted) throw CommandError(*restart.wanted);
    session.say("Next: velmoractl port add NAME --url URL" +
                (computer.isLocal() ? "" : " --server " + toUtf8(computer.server())));
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
bool unregister(const Session& session, const Computer& computer, const SetupOptions& options,
                const std::string& monitor, std::string& choice, const std::string& what) {
    if (!monitorInstalled(computer.server(), monitor)) {
        session.noteServerAnswers();
        return false;
    }
    {
        Session there = session;
        there.monitor = monitor;
        MonitorChannel channel(there);
        const std::vector<std::string> ports = channel.portNames();
        checkUnused(session, ports, what);
        if (options.dryRun) return true;
        choice = choosePorts(options, ports.size() + channel.directorySize(), what);
        if (choice == "remove") {
            // Before the first port is removed: an open dialog holds the directory.
            const auto lock = channel.lockDirectory(what);
            removePorts(session, channel);
        }
    }
    const std::string gone =
        choice == "remove" ? "; the ports and the printer directory have been removed" : "";
    const DWORD error = deleteMonitor(computer.server(), monitor);
    if (error == ERROR_PRINT_MONITOR_IN_USE) {
        throw CommandError(ExitCode::conflict, what, errorText(error) + gone,
                           "delete the printers that print to its ports first");
    }
    if (error != 0) {
        const CommandError reason = spoolerError(what, error);
        // Some versions of Windows let nobody remove a monitor from another computer.
        throw CommandError(
            reason.code(), what, reason.why() + gone,
            computer.isLocal() ? reason.remedy() : "run \"velmoractl uninstall\" on that computer",
            reason.keyword());
    }
    session.say("The monitor " + quotedAnsi(monitor) + " is no longer registered.");
    return true;
}

void removeOwnFile(const Session& session, const std::string& path) {
    switch (removeFile(path)) {
        case FileRemoval::absent:
            return;
        case FileRemoval::removed:
            return session.say(quotedPath(path) + " has been deleted.");
        case FileRemoval::atNextStart:
            return session.say(quotedPath(path) +
                               " is in use and will be deleted at the next start of Windows.");
        case FileRemoval::renamed:
            return session.warn(quotedPath(path) + " is in use; it has been given another name, " +
                                quotedPath(path + ".old...") +
                                ", and stays until a later install or somebody deletes it");
    }
}

void checkRemoved(bool removed, const std::string& what) {
    if (!removed) throw systemError(what, ERROR_REGISTRY_IO_FAILED, "run the command again");
}

/// Removes the rest after the monitor is no longer registered.
void removeRest(const Session& session, const Computer& computer, bool all) {
    checkRemoved(removeEventSource(computer.registry()), "removing the source of events");
    removeOwnFile(session, computer.file(kLibrary));
    if (!all) {
        return session.say("The settings stay in the registry and in " +
                           quotedPath(computer.file(kSettings)) + " for a later install.");
    }
    // The monitor is removed; only an empty directory is left.
    checkRemoved(removeKey(computer.monitorKey(), computer.registry()),
                 "removing the registry key " + shownKey(computer));
    removeOwnFile(session, computer.file(kSettings));
}

void uninstall(const Session& session, const SetupOptions& options) {
    const std::string what = "uninstall";
    checkBitness(what);
    const Computer computer(session.server, what);
    const std::string monitor = computer.setting("Port Monitor Name");
    std::string choice = options.ports.empty() ? "keep" : options.ports;
    // Throws when the spooler cannot be asked, before anything is changed: a registration that is
    // left without its library keeps the spooler from loading it.
    const bool known = unregister(session, computer, options, monitor, choice, what);
    if (options.dryRun) {
        if (session.wantsJson()) session.answer({{"was-installed", known}, {"ports", "keep"}});
        return session.say("Nothing stands in the way; nothing has been changed.");
    }
    const bool library = fileExists(computer.file(kLibrary));
    const bool rest = choice == "remove" && (fileExists(computer.file(kSettings)) ||
                                             hasKey(computer.monitorKey(), computer.registry()));
    if (!known && !library && !rest) {
        if (session.wantsJson()) session.answer({{"was-installed", false}, {"ports", choice}});
        return session.say("Velmora is not installed" + onComputer(computer) +
                           "; there was nothing to undo.");
    }
    try {
        removeRest(session, computer, choice == "remove");
    } catch (const CommandError& error) {
        if (!known) throw;
        throw CommandError(
            error.code(), what + ", " + error.subject(),
            error.why() + "; the monitor is no longer registered" +
                (choice == "remove" ? ", ports and printer directory are removed" : ""),
            error.remedy() + "; then run the same command again", error.keyword());
    }
    if (session.wantsJson()) {
        session.answer({{"was-installed", known || library}, {"ports", choice}});
    }
}

}  // namespace

void addSetupVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<SetupOptions>();
    Verb in =
        addVerb(app, session, "install",
                "set the monitor up on this computer, or with --server on others; can be repeated",
                "install --language de", [&session, options] { install(session, *options); });
    in.text("--from", options->from,
            "the folder of Velmora.dll (default: this program's, or x86 or x64 beside it)",
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
        addVerb(app, session, "uninstall",
                "remove the monitor from this computer, or with --server from others",
                "uninstall --ports keep", [&session, options] { uninstall(session, *options); });
    out.oneOf("--ports", options->ports,
              "what becomes of ports, groups and printers (default: asks)", {"keep", "remove"});
    out.flag("--dry-run", options->dryRun, "only say whether anything stands in the way");
}

}  // namespace velmora::ctl
