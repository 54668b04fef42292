#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/safe_file.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/plan_run.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

struct TransferOptions {
    std::string file;
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
    NodeCounts counts;
    for (const auto& [id, node] : directory.nodes())
        ++(node->type == NODE_PRINTER ? counts.printers : counts.groups);
    return counts;
}

void warnOfDeletedGroups(const Session& session, const std::vector<PortConfig>& ports,
                         const CGroupsDB& directory) {
    for (const PortConfig& port : ports) {
        for (const std::uint32_t id : port.targetIds) {
            if (directory.FindGroup(id) != nullptr) continue;
            session.warn("port " + quotedAnsi(port.name) + " holds the number " +
                         std::to_string(id) + " of a deleted group, which is left out");
        }
    }
}

void exportAll(const Session& session, const TransferOptions& options) {
    const std::string what = "export to " + quotedPath(options.file);
    MonitorChannel channel(session);
    const std::vector<PortConfig> ports = channel.ports();
    const CGroupsDB directory = channel.directory();
    warnOfDeletedGroups(session, ports, directory);
    const std::string text =
        toJson(ports, directory, options.passwords, systemCodec()).dump(2) + "\n";
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
    session.say(std::to_string(ports.size()) + " ports and the printer directory are in " +
                quotedPath(options.file) + ".");
    session.say(options.passwords
                    ? "The file holds the passwords in clear; only you may read it. Keep it safe."
                    : "Passwords are not in it; --with-passwords adds them.");
}

Configuration readWanted(const TransferOptions& options, const CGroupsDB& directory,
                         const std::string& what) {
    try {
        return readConfiguration(readWholeFile(options.file, what), directory, systemCodec());
    } catch (const FileError& error) {
        throw CommandError(ExitCode::usage, what, error.what(),
                           "correct the file; nothing has been changed", "bad-file");
    }
}

/// The kinds that --remove-others names; alone it means all kinds that the file holds.
Removal removalOf(const TransferOptions& options, const Configuration& wanted,
                  const std::string& what) {
    Removal removal;
    if (!options.removeOption.given()) return removal;
    const bool directory = wanted.directory.has_value();
    if (options.removeOthers == "all") return {wanted.hasPorts, directory, directory};
    const auto take = [&](const std::string& kind, bool held, bool& flag) {
        if (!held) {
            throw CommandError(ExitCode::usage, what,
                               "--remove-others names " + kind + ", and the file holds none",
                               "a file must say what there is to be of a kind before the others "
                               "are removed");
        }
        flag = true;
    };
    bool queues = false;
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
            take(kind, false, queues);
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

// Before the first change: a file is taken as a whole or not at all.

/// The URLs as the file has them.
void checkUrls(const Configuration& wanted, const TransferOptions& options,
               const std::string& what) {
    for (const PortConfig& port : wanted.ports) {
        if (!port.singleTarget) continue;
        checkUrl(port.printer.url, options.rules, what + ", port " + quotedAnsi(port.name));
    }
    if (wanted.directory) {
        for (const auto& [id, node] : wanted.directory->nodes()) {
            if (node->type != NODE_PRINTER) continue;
            checkUrl(static_cast<const CGroupsDBPrinter&>(*node).address.url, options.rules,
                     what + ", directory, node " + std::to_string(id));
        }
    }
}

void checkPlan(const Session& session, const ConfigurationPlan& plan, const Configuration& wanted,
               const MonitorChannel& channel, const std::string& what) {
    for (const PortConfig& port : wanted.ports)
        checkSize(port, what + ", port " + quotedAnsi(port.name));
    checkNewPorts(plan, channel, what);
    for (const std::string& name : plan.portsToRemove)
        checkUnused(session, name, what);
}

std::string fileWords(const TransferOptions& options) {
    return options.file == "-" ? "the standard input" : quotedPath(options.file);
}

/// What an import of the file would do. Throws where the import would be refused.
ConfigurationPlan planned(const Session& session, MonitorChannel& channel,
                          const TransferOptions& options, Configuration& wanted,
                          const CGroupsDB& directory, const std::string& what) {
    checkUrls(wanted, options, what);
    const Removal removal = removalOf(options, wanted, what);
    ConfigurationPlan plan = planImport(wanted, channel.ports(), directory, removal, systemCodec());
    plan.warnings.insert(plan.warnings.begin(), wanted.warnings.begin(), wanted.warnings.end());
    checkPlan(session, plan, wanted, channel, what);
    for (const std::string& warning : plan.warnings)
        session.warn(warning);
    return plan;
}

void importAll(const Session& session, const TransferOptions& options) {
    const std::string what = "import of " + fileWords(options);
    MonitorChannel channel(session);
    // Held to the end: what is compared now is what is changed.
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    const CGroupsDB directory = channel.directory();
    Configuration wanted = readWanted(options, directory, what);
    const auto noDialog =
        options.dryRun || !wanted.directory ? nullptr : channel.lockDirectory(what);
    const ConfigurationPlan plan = planned(session, channel, options, wanted, directory, what);
    if (!options.dryRun && !plan.changes.empty()) {
        carryOut(session, channel, plan, wanted.directory.has_value(), what,
                 "import the same file again to go on with the rest");
    }
    reportPlan(session, plan, options.dryRun, "Everything is as the file says");
}

void diff(const Session& session, const TransferOptions& options) {
    const std::string what = "diff with " + fileWords(options);
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    Configuration wanted = readWanted(options, directory, what);
    const ConfigurationPlan plan = planned(session, channel, options, wanted, directory, what);
    listPlan(session, plan, "equal", plan.changes.empty(), "Everything is as the file says");
    if (plan.changes.empty()) return;
    throw CommandError(ExitCode::different, what,
                       "what is stored is not as the file says, " + countOf(plan),
                       "\"import\" with the same words makes it so");
}

void addImportOptions(Verb verb, TransferOptions& options) {
    verb.text("file", options.file,
              "a file that \"export\" wrote, or one like it; - for the "
              "standard input",
              "FILE")
        .required();
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
