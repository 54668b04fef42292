#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "port/port_config.h"
#include "port/targets.h"
#include "port/url_text.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/bulk_plan.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/plan_steps.h"
#include "velmoractl/text/queue_plan.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"
#include "velmoractl/verbs/bulk.h"
#include "velmoractl/verbs/plan_run.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/port_fit.h"
#include "velmoractl/verbs/queue_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// The arguments of "port add" and "port set"; kept until the whole command line has been read.
struct PortOptions {
    std::string name;  ///< of the port that is added, or copied
    std::string copy;  ///< the copy's name
    Selection selection;
    bool dryRun = false;
    std::string url;
    std::vector<std::string> replacements;
    std::vector<std::string> groups;
    Credentials credentials;
    std::map<std::string, std::string> attributes;
    UrlRules rules;
    bool forceValue = false;
    FitOptions fit;
    Option urlOption;
    Option replaceOption;
    Option groupOption;
    std::vector<std::pair<std::string, Option>> attributeOptions;
    // Of "port add" alone.
    std::string queue;
    std::string driver;
    Option queueOption;
    Option driverOption;
};

void addTargetOptions(Verb verb, PortOptions& options) {
    options.urlOption = verb.text("--url", options.url, "print to this printer", "URL");
    options.groupOption = verb.texts(
        "--group", options.groups,
        "print to all printers below this group (\"A/B\" or #ID); may be repeated", "GROUP");
    options.urlOption.excludes(options.groupOption);
    addUrlRules(verb, options.rules);
    addCredentialOptions(verb, options.credentials);
    verb.flag("--force-value", options.forceValue,
              "take keywords of the job template that only some printers know");
    for (const TemplateAttribute& attribute : templateAttributes()) {
        const std::string value = attribute.get(JobTemplate());
        Option option =
            verb.text(std::string("--") + attribute.name, options.attributes[attribute.name],
                      std::string(attribute.about) + ": " + attribute.allowed() +
                          " (default: " + (value.empty() ? "\"\"" : value) + ")",
                      attribute.value);
        option.under("Job template");
        options.attributeOptions.emplace_back(attribute.name, option);
    }
}

void applyTemplate(const PortOptions& options, JobTemplate& job, const std::string& what) {
    for (const auto& [name, option] : options.attributeOptions) {
        if (!option.given()) continue;
        const TemplateAttribute& attribute = *findTemplateAttribute(name);
        const std::string& value = options.attributes.at(name);
        if (attribute.set(job, value)) continue;
        const bool canForce = attribute.force != nullptr;
        if (canForce && options.forceValue && attribute.force(job, value)) continue;
        throw CommandError(
            ExitCode::usage, what, "--" + name + " cannot be " + quotedAnsi(value),
            "allowed: " + attribute.allowed() +
                (canForce ? "; --force-value takes what a printer has of its own" : ""),
            "bad-value");
    }
}

/// The groups that were named. Read once, however many ports get them.
std::vector<std::uint32_t> groupsOf(const PortOptions& options, MonitorChannel& channel,
                                    const std::string& what) {
    if (!options.groupOption.given()) return {};
    std::vector<std::uint32_t> ids;
    channel.readDirectory([&](const CGroupsDB& directory) {
        for (const std::string& group : options.groups) {
            const std::uint32_t id = requireGroup(directory, group, what).id;
            if (std::ranges::find(ids, id) == ids.end()) ids.push_back(id);
        }
    });
    return ids;
}

void applyTargets(const PortOptions& options, const Credentials& credentials,
                  const std::vector<std::uint32_t>& groups, PortConfig& port,
                  const std::string& what) {
    if (options.urlOption.given()) {
        checkUrl(options.url, options.rules, what);
        port.singleTarget = 1;
        port.printer.url = options.url;
        port.targetIds.clear();
    }
    if (options.groupOption.given()) {
        port.singleTarget = 0;
        port.targetIds = groups;
    }
    if (!port.singleTarget && credentials.given()) {
        throw CommandError(ExitCode::usage, what, "the port prints to groups",
                           "give user names and passwords to the printers of the groups");
    }
    applyCredentials(credentials, port.printer.useAuthentication, port.printer.userName,
                     port.printer.password, what);
    if (!port.singleTarget) {
        // As the dialogs leave such a port.
        port.printer.url.clear();
        port.printer.useAuthentication = 0;
        port.printer.userName.clear();
        port.printer.password.clear();
    }
}

/// The printers that the port reaches now, with their paths if they are in the directory.
struct Reached {
    std::string url;
    std::string path;
};

std::vector<Reached> reachedPrinters(const PortConfig& port, const CGroupsDB& directory,
                                     const DirectoryPaths& names) {
    if (port.singleTarget) return {{port.printer.url, ""}};
    std::vector<Reached> printers;
    for (const CGroupsDBPrinter* printer : directoryPrintersOf(port, directory))
        printers.push_back({printer->address.url, names.pathOf(printer->id)});
    return printers;
}

Json described(const PortConfig& port, const CGroupsDB& directory, const DirectoryPaths& names) {
    Json json = toJson(port, false, systemCodec());
    json["url"] = toUtf8(maskedUrl(port.printer.url));
    if (!json.contains("user")) json["user"] = nullptr;
    Json printers = Json::array();
    for (const Reached& one : reachedPrinters(port, directory, names)) {
        Json printer{{"url", toUtf8(maskedUrl(one.url))}};
        if (!one.path.empty()) printer["path"] = toUtf8(one.path);
        printers.push_back(std::move(printer));
    }
    json["printers"] = std::move(printers);
    return json;
}

/// With the directory as it is now.
Json described(const PortConfig& port, MonitorChannel& channel) {
    Json json;
    channel.readDirectory([&](const CGroupsDB& directory) {
        json = described(port, directory, DirectoryPaths(directory));
    });
    return json;
}

/// Before a port is added: Windows holds every name once, whichever monitor has it.
void checkNameIsFree(const MonitorChannel& channel, const std::string& name,
                     const std::string& what) {
    for (const MonitorChannel::SpoolerPort& port : channel.spoolerPorts()) {
        if (lstrcmpiA(port.name.c_str(), name.c_str()) != 0) continue;
        const bool ours = port.monitor == channel.monitor();
        const std::string remedy =
            port.name != name ? "choose another name; " + std::string(kCaseRule)
            : ours            ? "choose another name, or change that port with \"port set\""
                              : "choose another name";
        throw CommandError(ExitCode::conflict, what,
                           ours ? "there is the port " + quotedAnsi(port.name)
                                : "the monitor " + quotedAnsi(port.monitor) + " has the port " +
                                      quotedAnsi(port.name),
                           remedy, "name-taken");
    }
}

/// The queue that the port gets, checked before the port is added; empty if none.
QueueDescription wantedQueue(const Session& session, const PortOptions& options,
                             const std::string& what) {
    QueueDescription queue;
    if (!options.queueOption.given()) return queue;
    checkQueueNameIsFree(spoolerQueues(session.server, what), options.queue, what);
    queue.name = options.queue;
    queue.port = options.name;
    queue.driver = requireDriver(spoolerDrivers(session.server, what), options.driver, what);
    return queue;
}

/// The queue of a port that has just been added. If it cannot be made, the port is removed again.
void addQueueOrUndo(const Session& session, const QueueDescription& queue, MonitorChannel& channel,
                    const std::string& what) {
    try {
        addQueue(session.server, queue, what);
    } catch (const CommandError& error) {
        std::string rest = "the port was added before, and has been removed again";
        try {
            channel.removePort(queue.port);
        } catch (const CommandError& second) {
            rest =
                "the port was added before, and could not be removed again (" + second.why() + ")";
        }
        throw CommandError(error.code(), what,
                           "the queue " + quotedAnsi(queue.name) +
                               " could not be made: " + error.why() + "; " + rest,
                           error.remedy(), error.keyword());
    }
}

void add(const Session& session, const PortOptions& options) {
    const std::string what = "port add " + quotedAnsi(options.name);
    checkNewPortName(options.name, what);
    if (!options.urlOption.given() && !options.groupOption.given()) {
        throw CommandError(ExitCode::usage, what, "no target is given",
                           "give --url URL for one printer, or --group GROUP for many");
    }
    if (options.queueOption.given() != options.driverOption.given()) {
        throw CommandError(ExitCode::usage, what, "--queue and --driver belong together",
                           "give both, or none of them");
    }
    if (options.queueOption.given()) checkNewQueueName(options.queue, what);
    PortConfig port;
    port.name = options.name;
    applyTemplate(options, port.jobTemplate, what);
    if (options.urlOption.given()) checkUrl(options.url, options.rules, what);
    Credentials credentials = options.credentials;
    readPassword(credentials, what);
    MonitorChannel channel(session);
    FitOutcome fit;
    if (options.fit.fit) {
        // Before the lock: other commands do not wait for printers.
        PortConfig trial = port;
        applyTargets(options, credentials, groupsOf(options, channel, what), trial, what);
        fit = fitToPrinters(channel.targets(trial), port.jobTemplate, options.fit, what);
        if (!fit.taken) throw notFitted(fit, options.fit, what);
    }
    const auto lock = channel.lock(what);
    checkNameIsFree(channel, port.name, what);
    applyTargets(options, credentials, groupsOf(options, channel, what), port, what);
    checkSize(port, what);
    const QueueDescription queue = wantedQueue(session, options, what);
    channel.addPort(port);
    if (options.queueOption.given()) addQueueOrUndo(session, queue, channel, what);
    if (session.wantsJson()) {
        Json json = described(port, channel);
        if (options.queueOption.given()) json["queue"] = toUtf8(options.queue);
        session.answer(json);
    }
    session.say("Port " + quotedAnsi(port.name) + " has been added" +
                (fit.replaced.empty() ? "." : ", fitted to the printer:"));
    sayFit(session, fit);
    if (options.queueOption.given())
        session.say("Queue " + quotedAnsi(options.queue) + " prints to it.");
}

bool givesAnything(const PortOptions& options) {
    return options.urlOption.given() || options.replaceOption.given() ||
           options.groupOption.given() || options.credentials.given() || options.credentials.none ||
           std::ranges::any_of(options.attributeOptions,
                               [](const auto& one) { return one.second.given(); });
}

/// A port as "port set" changes it.
class PortChange {
  public:
    /// Checks all that can be checked without a port, and reads the password.
    PortChange(const PortOptions& options, const std::string& what)
        : options_(options),
          credentials_(options.credentials),
          replacements_(readUrlReplacements(options.replacements, systemCodec(), what)) {
        JobTemplate trial;
        applyTemplate(options, trial, what);
        if (options.urlOption.given()) checkUrl(options.url, options.rules, what);
        readPassword(credentials_, what);
    }

    /// Once, before the first port.
    void findGroups(MonitorChannel& channel, const std::string& what) {
        groups_ = groupsOf(options_, channel, what);
    }

    PortConfig changed(PortConfig port, const std::string& what) const {
        applyTemplate(options_, port.jobTemplate, what);
        if (port.singleTarget) {
            if (const auto url = replaced(port.printer.url, replacements_)) {
                checkUrl(*url, options_.rules, what);
                port.printer.url = *url;
            }
        }
        applyTargets(options_, credentials_, groups_, port, what);
        checkSize(port, what);
        return port;
    }

  private:
    const PortOptions& options_;
    Credentials credentials_;
    const std::vector<UrlReplacement> replacements_;
    std::vector<std::uint32_t> groups_;
};

/// One port that is named: the answer is the port as it is now.
void setOne(const Session& session, const PortOptions& options) {
    const std::string& name = options.selection.names.front();
    const std::string what = "port set " + quotedAnsi(name);
    PortChange change(options, what);
    MonitorChannel channel(session);
    const auto lock = channel.lock(what);
    change.findGroups(channel, what);
    const PortConfig before = channel.port(name);
    const PortConfig port = change.changed(before, what);
    if (port != before) channel.changePort(port);
    if (session.wantsJson()) session.answer(described(port, channel));
    session.say(
        "Port " + quotedAnsi(port.name) +
        (port == before ? " is as it should be; nothing was changed." : " has been changed:"));
    for (const Difference& one : differences(before, port, systemCodec()))
        session.say("  " + inWords(one));
}

void setMany(const Session& session, const PortOptions& options) {
    const std::string what = "port set";
    PortChange change(options, what);
    MonitorChannel channel(session);
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    change.findGroups(channel, what);
    ConfigurationPlan plan;
    for (const PortConfig& port : selectedPorts(channel, options.selection, what)) {
        planPort(plan, port, change.changed(port, what + ", port " + quotedAnsi(port.name)),
                 systemCodec());
    }
    if (!options.dryRun) carryOut(session, channel, plan, {}, false, what, kRepeatCommand);
    reportPlan(session, plan, options.dryRun, "The ports are as they should be");
}

void set(const Session& session, const PortOptions& options) {
    const Selection& selection = options.selection;
    checkSelection(selection, "port", "port set");
    if (!givesAnything(options)) {
        throw CommandError(ExitCode::usage, "port set", "there is nothing to set",
                           "name what to change; see port set --help");
    }
    const bool one = selection.names.size() == 1 && !selection.bulk() && !options.dryRun;
    one ? setOne(session, options) : setMany(session, options);
}

Change change(Change::Kind kind, const std::string& port) {
    return {kind, "port", toUtf8(port), {}};
}

void copy(const Session& session, const PortOptions& options) {
    const std::string what = "port copy " + quotedAnsi(options.name);
    checkNewPortName(options.copy, what);
    PortChange given(options, what);
    MonitorChannel channel(session);
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    given.findGroups(channel, what);
    PortConfig port = channel.port(options.name);
    checkNameIsFree(channel, options.copy, what);
    port.name = options.copy;
    port = given.changed(std::move(port), what);
    if (!options.dryRun) channel.addPort(port);
    ConfigurationPlan plan;
    plan.changes = {change(Change::Kind::add, port.name)};
    reportPlan(session, plan, options.dryRun, "");
}

struct RenameOptions {
    std::string name, to;
    bool dryRun = false;
};

/// The queues that print to the port.
std::vector<QueueDescription> queuesOfPort(const Session& session, const std::string& port,
                                           const std::string& what) {
    std::vector<QueueDescription> queues = descriptionsOf(spoolerQueues(session.server, what));
    std::erase_if(queues, [&](const QueueDescription& queue) {
        const std::vector<std::string> ports = portsOfQueue(queue.port);
        return std::ranges::find(ports, port) == ports.end();
    });
    return queues;
}

/// Whether the port of the new name is what an earlier renaming has left: a copy of the old one.
bool isLeftCopy(MonitorChannel& channel, const PortConfig& before, const std::string& to) {
    const std::vector<std::string> names = channel.portNames();
    if (std::ranges::find(names, to) == names.end()) return false;
    PortConfig copy = channel.port(to);
    copy.name = before.name;
    return copy == before;
}

void rename(const Session& session, const RenameOptions& options) {
    const std::string what = "port rename " + quotedAnsi(options.name);
    checkNewPortName(options.to, what);
    MonitorChannel channel(session);
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    const PortConfig before = channel.port(options.name);
    PortRename step{before, options.to, false, {}};
    ConfigurationPlan plan;
    if (options.to != options.name) {
        step.newIsThere = isLeftCopy(channel, before, options.to);
        if (!step.newIsThere) checkNameIsFree(channel, options.to, what);
        step.queues = queuesOfPort(session, options.name, what);
        PortConfig after = before;
        after.name = options.to;
        checkSize(after, what);
        if (!step.newIsThere) plan.changes = {change(Change::Kind::add, options.to)};
        for (const QueueDescription& queue : step.queues)
            plan.changes.push_back({Change::Kind::change, "queue", toUtf8(queue.name), {}});
        plan.changes.push_back(change(Change::Kind::remove, options.name));
    }
    if (!options.dryRun && !plan.changes.empty()) carryOut(session, channel, step, what);
    reportPlan(session, plan, options.dryRun, "The port has that name");
}

std::string targetText(const PortConfig& port, const DirectoryPaths& names) {
    if (port.singleTarget) return quotedUrl(port.printer.url);
    std::string text;
    for (const std::uint32_t id : port.targetIds) {
        const CGroupsDBNode* const node = names.find("#" + std::to_string(id));
        const bool there = node != nullptr && node->type == NODE_GROUP;
        text += (text.empty() ? "groups " : ", ") + quotedAnsi(names.pathOf(id)) +
                (there ? "" : " (deleted)");
    }
    return text.empty() ? "no groups" : text;
}

void show(const Session& session, const PortConfig& port, const CGroupsDB& directory) {
    const DirectoryPaths names(directory);
    if (session.wantsJson()) return session.answer(described(port, directory, names));
    writeOut("Port " + quotedAnsi(port.name) + " prints to " + targetText(port, names) + "\n");
    if (port.printer.useAuthentication) {
        writeOut("  user " + quotedAnsi(port.printer.userName) + ", " +
                 (port.printer.password.empty() ? "no password" : "with a password") + "\n");
    }
    if (!port.singleTarget) {
        const std::vector<Reached> printers = reachedPrinters(port, directory, names);
        writeOut("  printers: " + std::to_string(printers.size()) + "\n");
        for (const Reached& one : printers)
            writeOut("    " + quotedAnsi(one.path) + "  " + quotedUrl(one.url) + "\n");
    }
    for (const TemplateAttribute& attribute : templateAttributes()) {
        writeOut(std::string("  ") + attribute.name + ": " +
                 shown(toUtf8(attribute.get(port.jobTemplate))) + "\n");
    }
}

void show(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    const PortConfig port = channel.port(name);
    channel.readDirectory([&](const CGroupsDB& directory) { show(session, port, directory); });
}

void list(const Session& session, const std::vector<PortConfig>& ports,
          const CGroupsDB& directory) {
    constexpr Column kColumns[] = {
        {"name", "PORT"}, {"mode", "MODE"}, {"groups", "GROUPS"}, {"printers", "PRINTERS"}};
    const DirectoryPaths names(directory);
    Json rows = Json::array();
    for (const PortConfig& port : ports) {
        Json row = described(port, directory, names);
        if (!session.wantsJson()) {
            // In columns a group is its path and a printer its URL.
            row["groups"] = Json::array();
            for (const std::uint32_t id : port.targetIds)
                row["groups"].push_back(toUtf8(names.pathOf(id)));
            Json urls = Json::array();
            for (const Json& printer : row["printers"])
                urls.push_back(printer["url"]);
            row["printers"] = std::move(urls);
        }
        rows.push_back(std::move(row));
    }
    session.list({kColumns, "name", "There are no ports; \"port add\" makes one."},
                 std::move(rows));
}

void list(const Session& session) {
    MonitorChannel(session).readAll(
        [&](const std::vector<PortConfig>& ports, const CGroupsDB& directory) {
            list(session, ports, directory);
        });
}

struct RemoveOptions {
    std::vector<std::string> names;
    bool dryRun = false;
};

void removeOne(const Session& session, const std::string& name) {
    MonitorChannel channel(session);
    channel.port(name);  // the monitor itself reports success for an unknown name
    checkUnused(session, name, "port remove " + quotedAnsi(name));
    channel.removePort(name);
    if (session.wantsJson()) session.answer({{"removed", toUtf8(name)}});
    session.say("Port " + quotedAnsi(name) + " has been removed.");
}

/// All or none, as far as it can be known before: nothing is removed if one is unknown or in use.
void removeMany(const Session& session, const RemoveOptions& options) {
    const std::string what = "port remove";
    MonitorChannel channel(session);
    const auto lock = options.dryRun ? nullptr : channel.lock(what);
    ConfigurationPlan plan;
    for (const std::string& name : options.names) {
        if (std::ranges::find(plan.portsToRemove, name) != plan.portsToRemove.end()) continue;
        channel.port(name);
        plan.portsToRemove.push_back(name);
        plan.changes.push_back(change(Change::Kind::remove, name));
    }
    checkUnused(session, plan.portsToRemove, what);
    if (!options.dryRun) {
        carryOut(session, channel, plan, {}, false, what,
                 "run the command again with the ports that are left to go on with them");
    }
    reportPlan(session, plan, options.dryRun, "");
}

void remove(const Session& session, const RemoveOptions& options) {
    const bool one = options.names.size() == 1 && !options.dryRun;
    one ? removeOne(session, options.names.front()) : removeMany(session, options);
}

Verb addNamed(Verb group, Session& session, const char* verb, const char* about,
              const char* example, std::string& name, std::function<void()> action) {
    Verb app = addVerb(group, session, verb, about, example, std::move(action));
    app.text("name", name, "the port's name", "NAME").required();
    return app;
}

}  // namespace

void addPortVerbs(Verb app, Session& session) {
    Verb group = app.group("port", "add, change, show and remove ports",
                           "port add Office --url ipp://printer.example/ipp/print");

    const auto added = std::make_shared<PortOptions>();
    Verb addApp = addNamed(group, session, "add", "add a port",
                           "port add Office --url ipp://printer.example/ipp/print --media A4 "
                           "--sides two-sided-long-edge",
                           added->name, [&session, added] { add(session, *added); });
    addTargetOptions(addApp, *added);
    added->queueOption = addApp.text("--queue", added->queue, "add this queue for it too", "NAME");
    added->driverOption =
        addApp.text("--driver", added->driver, "the queue's printer driver", "DRIVER");
    addApp.flag("--fit", added->fit.fit,
                "replace what the printer refuses of the job template, as \"port fit\" does");
    addApp.flag("--allow-loss", added->fit.allowLoss, "with --fit: also what changes the pages");

    const auto changed = std::make_shared<PortOptions>();
    Verb setApp =
        addVerb(group, session, "set", "change one port or many; what is not named stays",
                "port set --match \"FL*\" --url-replace ipp://old.example=ipp://new.example",
                [&session, changed] { set(session, *changed); });
    setApp.words("names", changed->selection.names, "the ports' names", "NAMES");
    addSelectionOptions(setApp, changed->selection, "ports", portKeys());
    addDryRun(setApp, changed->dryRun);
    addTargetOptions(setApp, *changed);
    changed->replaceOption = addUrlReplace(setApp, changed->replacements);
    changed->replaceOption.excludes(changed->urlOption).excludes(changed->groupOption);

    const auto copied = std::make_shared<PortOptions>();
    Verb copyApp =
        addNamed(group, session, "copy", "add a port like another one, with what is given changed",
                 "port copy Office Lobby --url ipp://lobby.example/ipp/print", copied->name,
                 [&session, copied] { copy(session, *copied); });
    copyApp.text("new-name", copied->copy, "the new port's name", "NEW").required();
    addDryRun(copyApp, copied->dryRun);
    addTargetOptions(copyApp, *copied);

    const auto renamed = std::make_shared<RenameOptions>();
    Verb renameApp =
        addNamed(group, session, "rename", "give a port another name; its queues go with it",
                 "port rename Office \"Office 1\"", renamed->name,
                 [&session, renamed] { rename(session, *renamed); });
    renameApp.text("new-name", renamed->to, "its new name", "NEW").required();
    addDryRun(renameApp, renamed->dryRun);

    addFitVerb(group, session);

    const auto name = std::make_shared<std::string>();
    addNamed(group, session, "show", "show a port", "port show Office --json", *name,
             [&session, name] { show(session, *name); });
    const auto removed = std::make_shared<RemoveOptions>();
    Verb removeApp =
        addVerb(group, session, "remove", "remove one port or several: all, or none",
                "port remove Office Lobby", [&session, removed] { remove(session, *removed); });
    removeApp.words("names", removed->names, "the ports' names", "NAMES").required();
    addDryRun(removeApp, removed->dryRun);
    addOutputOption(addVerb(group, session, "list", "list the ports", "port list",
                            [&session] { list(session); }),
                    session);
}

}  // namespace velmora::ctl
