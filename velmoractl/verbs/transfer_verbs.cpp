#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "port/port_config.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/ports_table.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/text/safe_file.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/bulk.h"
#include "velmoractl/verbs/fleet_files.h"
#include "velmoractl/verbs/plan_run.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/queue_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct TransferOptions {
    std::string file;   ///< that is written
    FleetFiles wanted;  ///< that are read
    std::string formatVersion = "1";
    bool table = false;  ///< written
    bool passwords = false;
    bool dryRun = false;
    std::string removeOthers;
    UrlRules rules;
    Option removeOption;
};

struct NodeCounts {
    std::size_t groups = 0;
    std::size_t printers = 0;
};

NodeCounts countsOf(const CGroupsDB& directory) {
    const DirectoryPaths names(directory);
    NodeCounts counts;
    for (const auto& [id, node] : names.nodes())
        ++(node->type == NODE_PRINTER ? counts.printers : counts.groups);
    return counts;
}

void warnOfDeletedGroups(const Session& session, const std::vector<PortConfig>& ports,
                         const CGroupsDB& directory) {
    const DirectoryPaths names(directory);
    for (const PortConfig& port : ports) {
        for (const std::uint32_t id : port.targetIds) {
            if (names.group(id) != nullptr) continue;
            session.warn("port " + quotedAnsi(port.name) + " holds the number " +
                         std::to_string(id) + " of a deleted group, which is left out");
        }
    }
}

/// The queues that print to nothing but these ports.
std::vector<QueueDescription> queuesOf(const Session& session, const std::vector<PortConfig>& ports,
                                       const std::string& what) {
    std::set<std::string> names;
    for (const PortConfig& port : ports)
        names.insert(port.name);
    std::vector<QueueDescription> queues = descriptionsOf(spoolerQueues(session.server, what));
    std::erase_if(queues, [&](const QueueDescription& queue) {
        const std::vector<std::string> used = portsOfQueue(queue.port);
        return used.empty() || !std::ranges::all_of(used, [&](const std::string& port) {
                   return names.contains(port);
               });
    });
    return queues;
}

std::string exportText(const Session& session, const TransferOptions& options,
                       const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                       const std::string& what) {
    const TextCodec& codec = systemCodec();
    try {
        if (options.table) return portsTable(ports, directory, options.passwords, codec);
        if (options.formatVersion == "1") {
            return toJson(ports, directory, options.passwords, codec).dump(2) + "\n";
        }
        const std::vector<QueueDescription> queues = queuesOf(session, ports, what);
        return describe(ports, directory, &queues, options.passwords, codec).dump(2) + "\n";
    } catch (const FileError& error) {
        throw CommandError(ExitCode::conflict, what, error.what(), "nothing has been written",
                           "cannot-describe");
    }
}

void exportAll(const Session& session, const TransferOptions& options,
               const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
    const std::string what = "export to " + quotedPath(options.file);
    warnOfDeletedGroups(session, ports, directory);
    const std::string text = exportText(session, options, ports, directory, what);
    if (options.file == "-") {
        session.answered = true;
        return writeOut(text);
    }
    replaceFile(options.file, text, options.passwords ? Readers::ownerAlone : Readers::everybody,
                what);
    if (session.wantsJson()) {
        const NodeCounts counts = countsOf(directory);
        session.answer({{"file", toUtf8(options.file)},
                        {"ports", ports.size()},
                        {"groups", counts.groups},
                        {"printers", counts.printers},
                        {"passwords", options.passwords}});
    }
    session.say(std::to_string(ports.size()) +
                (options.table ? " ports are in " : " ports and the printer directory are in ") +
                quotedPath(options.file) + ".");
    session.say(options.passwords
                    ? "The file holds the passwords in clear; only you may read it. Keep it safe."
                    : "Passwords are not in it; --with-passwords adds them.");
}

void exportAll(const Session& session, const TransferOptions& options) {
    MonitorChannel(session).readAll(
        [&](const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
            exportAll(session, options, ports, directory);
        });
}

Configuration readWanted(const TransferOptions& options, const CGroupsDB& directory,
                         const std::string& what) {
    return readFiles(options.wanted, directory, what, "correct the file; nothing has been changed");
}

/// The kinds that --remove-others names; alone it means all kinds that the file holds.
Removal removalOf(const TransferOptions& options, const Configuration& wanted,
                  const std::string& what) {
    Removal removal;
    if (!options.removeOption.given()) return removal;
    const bool directory = wanted.directory != nullptr;
    if (options.removeOthers == "all") {
        return {wanted.hasPorts, directory, directory, wanted.hasQueues};
    }
    const auto take = [&](const std::string& kind, bool held, bool& flag) {
        if (!held) {
            throw CommandError(ExitCode::usage, what,
                               "--remove-others names " + kind + ", and the file holds none",
                               "a file must say what there is to be of a kind before the others "
                               "are removed");
        }
        flag = true;
    };
    for (std::size_t begin = 0; begin <= options.removeOthers.size();) {
        const std::size_t end =
            std::min(options.removeOthers.find(',', begin), options.removeOthers.size());
        const std::string kind = options.removeOthers.substr(begin, end - begin);
        begin = end + 1;
        if (kind == "ports") {
            take(kind, wanted.hasPorts, removal.ports);
        } else if (kind == "groups") {
            take(kind, directory, removal.groups);
        } else if (kind == "printers") {
            take(kind, directory, removal.printers);
        } else if (kind == "queues") {
            take(kind, wanted.hasQueues, removal.queues);
        } else {
            throw CommandError(ExitCode::usage, what,
                               "--remove-others cannot be " + quotedAnsi(options.removeOthers),
                               "allowed: ports, groups, printers and queues, with commas between");
        }
    }
    return removal;
}

void checkNewPorts(const ConfigurationPlan& plan, const MonitorChannel& channel,
                   const std::string& what) {
    if (plan.portsToAdd.empty()) return;
    std::map<std::string, MonitorChannel::SpoolerPort> taken;
    for (const MonitorChannel::SpoolerPort& port : channel.spoolerPorts())
        taken.try_emplace(foldedName(port.name), port);
    for (const std::string& removed : plan.portsToRemove)
        taken.erase(foldedName(removed));
    for (const PortConfig& port : plan.portsToAdd) {
        const std::string place = what + ", port " + quotedAnsi(port.name);
        checkNewPortName(port.name, place);
        const auto found = taken.find(foldedName(port.name));
        if (found == taken.end()) continue;
        const MonitorChannel::SpoolerPort& other = found->second;
        const bool ours = other.monitor == channel.monitor();
        throw CommandError(ExitCode::conflict, place,
                           ours ? "there is the port " + quotedAnsi(other.name)
                                : "the monitor " + quotedAnsi(other.monitor) + " has the port " +
                                      quotedAnsi(other.name),
                           ours ? "write the name as it is; " + std::string(kCaseRule)
                                : "give the port another name in the file",
                           "name-taken");
    }
}

// Before the first change: a file is imported as a whole or not at all.

/// The URLs in the file.
void checkUrls(const Configuration& wanted, const TransferOptions& options,
               const std::string& what) {
    for (const PortConfig& port : wanted.ports) {
        if (!port.singleTarget) continue;
        checkUrl(port.printer.url, options.rules, what + ", port " + quotedAnsi(port.name));
    }
    if (wanted.directory) {
        const DirectoryPaths names(*wanted.directory);
        for (const auto& [id, node] : names.nodes()) {
            if (node->type != NODE_PRINTER) continue;
            checkUrl(static_cast<const CGroupsDBPrinter&>(*node).address.url, options.rules,
                     what + ", directory, node " + std::to_string(id));
        }
    }
}

struct ImportPlan {
    ConfigurationPlan configuration;
    QueuePlan queues;  ///< its changes are among those of the configuration
};

/// No queue is left whose port is removed.
void checkUnusedPorts(const Session& session, const ImportPlan& plan,
                      const std::vector<QueueDescription>& queues, const std::string& what) {
    if (plan.queues.changes.empty()) {
        return checkUnused(session, plan.configuration.portsToRemove, what);
    }
    for (const std::string& port : plan.configuration.portsToRemove) {
        const std::vector<std::string> users = usersOfPort(queues, plan.queues, port);
        if (users.empty()) continue;
        throw CommandError(ExitCode::conflict, what,
                           "the queue " + quotedAnsi(users.front()) + " prints to the port " +
                               quotedAnsi(port) + ", which is to be removed",
                           "give the queue another port in the file", "in-use");
    }
}

/// Drivers get the names that the spooler has for them.
void findDrivers(const Session& session, std::vector<QueueDescription>& queues,
                 const std::string& what) {
    if (queues.empty()) return;
    const std::vector<Driver> drivers = spoolerDrivers(session.server, what);
    for (QueueDescription& queue : queues) {
        queue.driver =
            requireDriver(drivers, queue.driver, what + ", queue " + quotedAnsi(queue.name));
    }
}

/// Checks that the spooler itself does not make everywhere.
void checkQueues(const MonitorChannel& channel, const std::vector<Queue>& stored,
                 const ImportPlan& plan, const std::string& what) {
    if (plan.queues.toAdd.empty() && plan.queues.toChange.empty()) return;
    std::set<std::string> coming;
    for (const PortConfig& port : plan.configuration.portsToAdd)
        coming.insert(port.name);
    for (const QueueDescription& queue : plan.queues.toAdd) {
        const std::string place = what + ", queue " + quotedAnsi(queue.name);
        checkNewQueueName(queue.name, place);
        checkQueueNameIsFree(stored, queue.name, place);
        checkQueuePort(channel, queue.port, place, coming);
    }
    for (const QueueDescription& queue : plan.queues.toChange)
        checkQueuePort(channel, queue.port, what + ", queue " + quotedAnsi(queue.name), coming);
}

void checkPlan(const ConfigurationPlan& plan, const Configuration& wanted,
               const MonitorChannel& channel, const std::string& what) {
    checkSizes(wanted.ports, what);
    checkNewPorts(plan, channel, what);
}

/// What an import of the files would do. Throws where the import would be refused.
ImportPlan planned(const Session& session, MonitorChannel& channel, const TransferOptions& options,
                   Configuration& wanted, const CGroupsDB& directory, const std::string& what) {
    checkUrls(wanted, options, what);
    const Removal removal = removalOf(options, wanted, what);
    const std::vector<PortConfig> ports = channel.ports();
    ImportPlan plan{planImport(wanted, ports, directory, removal, systemCodec()), {}};
    ConfigurationPlan& configuration = plan.configuration;
    configuration.warnings.insert(configuration.warnings.begin(), wanted.warnings.begin(),
                                  wanted.warnings.end());
    checkPlan(configuration, wanted, channel, what);
    std::vector<Queue> stored;
    if (wanted.hasQueues) {
        findDrivers(session, wanted.queues, what);
        stored = spoolerQueues(session.server, what);
        std::set<std::string> ours;
        for (const PortConfig& port : ports)
            ours.insert(port.name);
        plan.queues =
            planQueues(wanted.queues, descriptionsOf(stored), ours, removal.queues, systemCodec());
        checkQueues(channel, stored, plan, what);
        configuration.changes.insert(configuration.changes.end(), plan.queues.changes.begin(),
                                     plan.queues.changes.end());
    }
    checkUnusedPorts(session, plan, descriptionsOf(stored), what);
    for (const std::string& warning : configuration.warnings)
        session.warn(warning);
    return plan;
}

void importAll(const Session& session, const TransferOptions& options) {
    const std::string what = "import of " + fileWords(options.wanted);
    checkFiles(options.wanted, what);
    MonitorChannel channel(session);
    // Held to the end, so that what is compared now is what is changed.
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    Configuration wanted;
    ImportPlan plan;
    std::shared_ptr<ConfigurationLock> noDialog;
    channel.readDirectory([&](const CGroupsDB& directory) {
        wanted = readWanted(options, directory, what);
        if (!options.dryRun && wanted.directory) noDialog = channel.lockDirectory(what);
        plan = planned(session, channel, options, wanted, directory, what);
    });
    if (!options.dryRun && !plan.configuration.changes.empty()) {
        carryOut(session, channel, plan.configuration, plan.queues, wanted.directory != nullptr,
                 what, "import the same file again to go on with the rest");
    }
    reportPlan(session, plan.configuration, options.dryRun, "Everything is as the file says");
}

void diff(const Session& session, const TransferOptions& options) {
    const std::string what = "diff with " + fileWords(options.wanted);
    checkFiles(options.wanted, what);
    MonitorChannel channel(session);
    ConfigurationPlan plan;
    channel.readDirectory([&](const CGroupsDB& directory) {
        Configuration wanted = readWanted(options, directory, what);
        plan = planned(session, channel, options, wanted, directory, what).configuration;
    });
    listPlan(session, plan, "equal", plan.changes.empty(), "Everything is as the file says");
    if (plan.changes.empty()) return;
    throw CommandError(ExitCode::different, what,
                       "what is stored is not as the file says, " + countOf(plan),
                       "\"import\" with the same words makes it so");
}

void addImportOptions(Verb verb, TransferOptions& options) {
    verb.words("files", options.wanted.files,
               "a file that \"export\" wrote, or one like it, or several of version 2; - for the "
               "standard input",
               "FILES");
    verb.texts(
        "--csv", options.wanted.tables,
        "ports as a table with named columns, as \"export --csv\" writes it; may be repeated",
        "FILE");
    options.removeOption =
        verb.optional("--remove-others", options.removeOthers, "all",
                      "remove what the file lacks: of all kinds that it holds, or as in "
                      "--remove-others=ports,groups,printers,queues (default: nothing)");
    addUrlRules(verb, options.rules);
}

}  // namespace

void addTransferVerbs(Verb app, Session& session) {
    const auto options = std::make_shared<TransferOptions>();
    Verb out = addVerb(app, session, "export", "write ports and printer directory to a file",
                       "export fleet.json --with-passwords",
                       [&session, options] { exportAll(session, *options); });
    out.text("file", options->file, "the file; - for the standard output", "FILE").required();
    out.oneOf("--format-version", options->formatVersion,
              "1, an exact copy with numbers, or 2, a description for people (default: 1)",
              {"1", "2"});
    out.flag("--csv", options->table, "the ports alone, as a table for a spreadsheet");
    out.flag("--with-passwords", options->passwords,
             "the passwords too, in clear, in a file that only you may read");

    Verb in = addVerb(app, session, "import", "make ports and printer directory as a file says",
                      "import fleet.json --dry-run",
                      [&session, options] { importAll(session, *options); });
    addImportOptions(in, *options);
    in.flag("--dry-run", options->dryRun, "only show what would be changed");

    const auto compared = std::make_shared<TransferOptions>();
    Verb between = addVerb(app, session, "diff",
                           "what \"import\" would change: exit code 0 for nothing, 9 for something",
                           "diff fleet.json --remove-others",
                           [&session, compared] { diff(session, *compared); });
    addImportOptions(between, *compared);
}

}  // namespace velmora::ctl
