#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "directory/groups_db.h"
#include "port/url_text.h"
#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/bulk_plan.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/verbs/bulk.h"
#include "velmoractl/verbs/plan_run.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

using PortGroups = MonitorChannel::PortGroups;

/// The arguments of a group or printer verb.
struct NodeOptions {
    std::string node;
    Selection selection;  ///< of "printer set"
    std::vector<std::string> replacements;
    bool dryRun = false;
    std::string to;
    std::string url;
    std::string name;
    bool force = false;
    UrlRules rules;
    Credentials credentials;
    Option urlOption;
    Option nameOption;
    Option replaceOption;
};

/// "A/B/C" is the name C in the group A/B.
std::pair<std::string, std::string> splitPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {"", path};
    return {path.substr(0, slash), path.substr(slash + 1)};
}

/// Names of siblings differ; the tree's dialogs hold to that too. `self`: the node that gets the
/// name, if it is there already.
void checkFreeName(const CGroupsDB& directory, std::uint32_t group, const std::string& name,
                   std::uint32_t self, const std::string& what) {
    if (name.empty()) {
        throw CommandError(ExitCode::usage, what, "the name is empty", "give a name");
    }
    if (name.find('/') != std::string::npos || name.starts_with('#')) {
        throw CommandError(ExitCode::usage, what, "the name holds a slash or begins with #",
                           "choose another name: a slash separates the names of a path, and # "
                           "begins a number");
    }
    if (name.size() > kLongestName) {
        throw CommandError(ExitCode::usage, what, "the name is longer than 255 bytes",
                           "choose a shorter name");
    }
    const DirectoryPaths names(directory);
    const CGroupsDBNode* const taken = similarSibling(names, group, name);
    if (taken == nullptr || taken->id == self) return;
    throw CommandError(ExitCode::conflict, what,
                       std::string("a ") + nodeWord(taken->type) + " " + quotedAnsi(taken->name) +
                           " is already in that group",
                       taken->name == name ? "choose another name or another group"
                                           : "choose another name; " + std::string(kCaseRule),
                       "name-taken");
}

std::string title(const DirectoryPaths& names, const CGroupsDBNode& node) {
    const std::string text = node.type == NODE_PRINTER ? "Printer " : "Group ";
    return text + quotedAnsi(names.pathOf(node.id));
}

Json described(const DirectoryPaths& names, const CGroupsDBNode& node) {
    Json json = toJson(node, false, systemCodec());
    if (node.type == NODE_PRINTER) {
        json["url"] = toUtf8(maskedUrl(static_cast<const CGroupsDBPrinter&>(node).address.url));
        if (!json.contains("user")) json["user"] = nullptr;
    }
    json["path"] = toUtf8(names.pathOf(node.id));
    return json;
}

void report(const Session& session, const CGroupsDB& directory, std::uint32_t id,
            const std::string& done) {
    const DirectoryPaths names(directory);
    const CGroupsDBNode& node = *directory.FindNode(id);
    if (session.wantsJson()) session.answer(described(names, node));
    session.say(title(names, node) + done);
}

/// Numbers of groups that are gone and that ports still hold must not become those of others.
void skipHeldNumbers(CGroupsDB& directory, const std::vector<PortGroups>& ports) {
    std::set<std::uint32_t> held;
    for (const PortGroups& port : ports)
        held.insert(port.groups.begin(), port.groups.end());
    while (held.contains(directory.nextId()))
        directory.ReserveId(directory.nextId());
}

void addNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(nodeWord(type)) + " add " + quotedAnsi(options.node);
    std::uint8_t authentication = 0;
    std::string user, password;
    if (type == NODE_PRINTER) {
        checkUrl(options.url, options.rules, what);
        applyCredentials(options.credentials, authentication, user, password, what);
    }
    MonitorChannel channel(session);
    const auto lock = channel.lockDirectory(what);
    const std::vector<PortGroups> ports = channel.portGroups();
    std::uint32_t id = 0;
    const CGroupsDB stored = channel.changedDirectory(what, [&](CGroupsDB& directory) {
        const auto [groupPath, name] = splitPath(options.node);
        const std::uint32_t group = requireGroup(directory, groupPath, what).id;
        checkFreeName(directory, group, name, 0, what);
        skipHeldNumbers(directory, ports);
        if (type == NODE_GROUP) {
            id = directory.AddGroup(name, group)->id;
        } else {
            id = directory
                     .AddPrinter(name, {options.url, authentication != 0, user, password}, group)
                     ->id;
        }
    });
    report(session, stored, id, " has been added.");
}

void renameNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(nodeWord(type)) + " rename " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    std::uint32_t id = 0;
    const CGroupsDB stored = channel.changedDirectory(what, [&](CGroupsDB& directory) {
        const CGroupsDBNode& node = requireNode(directory, options.node, type, what);
        id = node.id;
        if (node.name == options.to) return;
        checkFreeName(directory, node.parent, options.to, node.id, what);
        directory.RenameNode(node.id, options.to);
    });
    report(session, stored, id, " has its new name.");
}

void moveNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(nodeWord(type)) + " move " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    std::uint32_t id = 0;
    const CGroupsDB stored = channel.changedDirectory(what, [&](CGroupsDB& directory) {
        CGroupsDBNode& node = requireNode(directory, options.node, type, what);
        const CGroupsDBGroup& target = requireGroup(directory, options.to, what);
        id = node.id;
        if (node.parent == target.id) return;
        if (node.id == kRootGroup || !directory.CanPlace(node, target.id)) {
            throw CommandError(ExitCode::conflict, what,
                               "it cannot be in " + quotedAnsi(options.to),
                               "a name may be in a group only once, and no group in itself");
        }
        checkFreeName(directory, target.id, node.name, node.id, what);
        SetNodeParent(node, target.id);
    });
    report(session, stored, id, " is in its new place.");
}

/// The node and everything below it.
std::set<std::uint32_t> withAllBelow(const CGroupsDB& directory, std::uint32_t top) {
    const DirectoryPaths names(directory);
    std::set<std::uint32_t> ids = {top};
    std::vector<std::uint32_t> open = {top};
    while (!open.empty()) {
        const std::uint32_t group = open.back();
        open.pop_back();
        for (const CGroupsDBNode* child : names.children(group)) {
            if (ids.insert(child->id).second) open.push_back(child->id);
        }
    }
    return ids;
}

/// The ports that name one of the groups, as they are without them.
std::vector<PortGroups> portsWithout(const std::vector<PortGroups>& ports,
                                     const std::set<std::uint32_t>& groups) {
    std::vector<PortGroups> changed;
    for (const PortGroups& port : ports) {
        PortGroups rest = port;
        std::erase_if(rest.groups, [&](std::uint32_t id) { return groups.contains(id); });
        if (rest.groups.size() != port.groups.size()) changed.push_back(std::move(rest));
    }
    return changed;
}

std::string namesOf(const std::vector<PortGroups>& ports, std::size_t from = 0) {
    std::string text;
    for (std::size_t i = from; i < ports.size(); ++i)
        text += (text.empty() ? "" : ", ") + quotedAnsi(ports[i].name);
    return text;
}

void checkRemovable(const CGroupsDB& directory, const CGroupsDBNode& node,
                    const std::vector<PortGroups>& ports, bool force, const std::string& what) {
    if (node.id == kRootGroup) {
        throw CommandError(ExitCode::conflict, what, "this is the group that holds all others",
                           "remove the groups in it");
    }
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(node.id, children);
    if (!children.empty() && !force) {
        throw CommandError(ExitCode::conflict, what,
                           "it holds " + std::to_string(children.size()) + " groups or printers",
                           "remove them first, or add --force to remove them too", "in-use");
    }
    if (!ports.empty() && !force) {
        throw CommandError(ExitCode::conflict, what, "ports print to it: " + namesOf(ports),
                           "give them other groups first, or add --force to take it out of them",
                           "in-use");
    }
}

void removeNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(nodeWord(type)) + " remove " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    const auto lock = channel.lockDirectory(what);
    const std::vector<PortGroups> ports =
        type == NODE_GROUP ? channel.portGroups() : std::vector<PortGroups>();
    std::vector<PortGroups> changed;
    std::string path, done;
    channel.changeDirectory(what, [&](CGroupsDB& directory) {
        const CGroupsDBNode& node = requireNode(directory, options.node, type, what);
        changed = portsWithout(ports, withAllBelow(directory, node.id));
        checkRemovable(directory, node, changed, options.force, what);
        const DirectoryPaths names(directory);
        done = title(names, node) + " has been removed.";
        path = toUtf8(names.pathOf(node.id));
        directory.DeleteNode(node.id);
    });
    // The number in a port refers to nothing now; it must not refer to another group later.
    for (std::size_t i = 0; i < changed.size(); ++i) {
        try {
            channel.changeGroups(changed[i]);
        } catch (const CommandError& error) {
            throw CommandError(error.code(), what,
                               "the group is removed, but these ports still hold its number: " +
                                   namesOf(changed, i) + " (" + error.why() + ")",
                               "give them their groups anew with \"port set NAME --group GROUP\"",
                               error.keyword());
        }
    }
    if (session.wantsJson()) {
        Json names = Json::array();
        for (const PortGroups& port : changed)
            names.push_back(toUtf8(port.name));
        session.answer({{"removed", path}, {"changed-ports", std::move(names)}});
    }
    session.say(done);
    for (const PortGroups& port : changed) {
        session.say("Port " + quotedAnsi(port.name) + " no longer prints to it" +
                    (port.groups.empty() ? ", and now prints to nothing." : "."));
    }
}

/// A printer as "printer set" changes it.
class PrinterChange {
  public:
    PrinterChange(const NodeOptions& options, const std::string& what)
        : options_(options),
          credentials_(options.credentials),
          replacements_(readUrlReplacements(options.replacements, systemCodec(), what)) {
        if (options.urlOption.given()) checkUrl(options.url, options.rules, what);
        // Read once, and before the lock is taken.
        readPassword(credentials_, what);
    }

    void apply(CGroupsDB& directory, CGroupsDBPrinter& printer, const std::string& what) const {
        if (options_.nameOption.given() && options_.name != printer.name) {
            checkFreeName(directory, printer.parent, options_.name, printer.id, what);
            printer.name = options_.name;
        }
        if (const auto url = replaced(printer.address.url, replacements_)) {
            checkUrl(*url, options_.rules, what);
            printer.address.url = *url;
        }
        if (options_.urlOption.given()) printer.address.url = options_.url;
        applyCredentials(credentials_, printer.address.useAuthentication, printer.address.userName,
                         printer.address.password, what);
    }

  private:
    const NodeOptions& options_;
    Credentials credentials_;
    const std::vector<UrlReplacement> replacements_;
};

/// One printer that is named: the answer is the printer as it is now.
void setOnePrinter(const Session& session, const NodeOptions& options) {
    const std::string& path = options.selection.names.front();
    const std::string what = "printer set " + quotedAnsi(path);
    const PrinterChange change(options, what);
    MonitorChannel channel(session);
    std::uint32_t id = 0;
    const CGroupsDB stored = channel.changedDirectory(what, [&](CGroupsDB& directory) {
        auto& printer =
            static_cast<CGroupsDBPrinter&>(requireNode(directory, path, NODE_PRINTER, what));
        id = printer.id;
        change.apply(directory, printer, what);
    });
    report(session, stored, id, " has been changed.");
}

/// All at once, since the directory is stored as a whole.
void setPrinters(const Session& session, const NodeOptions& options) {
    const std::string what = "printer set";
    const PrinterChange change(options, what);
    MonitorChannel channel(session);
    const auto changeAll = [&](CGroupsDB& directory) {
        for (const std::uint32_t id : selectedPrinters(directory, options.selection, what)) {
            const std::string one = what + ", printer " + quotedAnsi(pathOf(directory, id));
            change.apply(directory, *directory.FindPrinter(id), one);
        }
    };
    ChangeList plan;
    const auto planAll = [&](CGroupsDB& directory) {
        const CGroupsDB before = copyOf(directory);
        changeAll(directory);
        plan.changes = directoryChanges(before, directory, systemCodec());
    };
    if (options.dryRun) {
        CGroupsDB directory = channel.directory();
        planAll(directory);
    } else {
        const auto lock = channel.lockDirectory(what);
        CGroupsDB directory = channel.directory();
        planAll(directory);
        if (!plan.changes.empty()) channel.changeDirectory(what, changeAll);
    }
    reportPlan(session, plan, options.dryRun, "The printers are as they should be");
}

void setPrinter(const Session& session, const NodeOptions& options) {
    const std::string what = "printer set";
    const Selection& selection = options.selection;
    checkSelection(selection, "printer", what);
    if (!options.urlOption.given() && !options.nameOption.given() &&
        !options.replaceOption.given() && !options.credentials.given() &&
        !options.credentials.none) {
        throw CommandError(ExitCode::usage, what, "there is nothing to set",
                           "name what to change; see printer set --help");
    }
    const bool oneNamed = selection.names.size() == 1 && !selection.bulk();
    if (options.nameOption.given() && !oneNamed) {
        throw CommandError(ExitCode::usage, what, "--name is for one printer",
                           "name one printer, or leave --name out");
    }
    oneNamed && !options.dryRun ? setOnePrinter(session, options) : setPrinters(session, options);
}

void showPrinter(const Session& session, const NodeOptions& options) {
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    const DirectoryPaths names(directory);
    const auto& printer = static_cast<const CGroupsDBPrinter&>(requireNode(
        directory, options.node, NODE_PRINTER, "printer show " + quotedAnsi(options.node)));
    if (session.wantsJson()) return session.answer(described(names, printer));
    writeOut(title(names, printer) + " (#" + std::to_string(printer.id) +
             ")\n  url: " + quotedUrl(printer.address.url) + "\n");
    if (printer.address.useAuthentication) {
        writeOut("  user " + quotedAnsi(printer.address.userName) + ", " +
                 (printer.address.password.empty() ? "no password" : "with a password") + "\n");
    }
}

void listNodes(const Session& session, std::uint32_t type) {
    constexpr Column kGroups[] = {{"path", "GROUP"}, {"id", "NUMBER"}, {"printers", "PRINTERS"}};
    constexpr Column kPrinters[] = {
        {"path", "PRINTER"}, {"id", "NUMBER"}, {"url", "URL"}, {"user", "USER"}};
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    const DirectoryPaths names(directory);
    Json rows = Json::array();
    for (const auto& [id, node] : directory.nodes()) {
        if (node->type != type) continue;
        Json& row = rows.emplace_back(described(names, *node));
        if (type == NODE_PRINTER) continue;
        std::vector<CGroupsDBPrinter*> printers;
        directory.CollectPrinters(id, printers);
        row["printers"] = printers.size();
    }
    if (type == NODE_PRINTER) {
        session.list({kPrinters, "path", "There are no printers; \"printer add\" makes one."},
                     std::move(rows));
    } else {
        session.list({kGroups, "path", "There are no groups."}, std::move(rows));
    }
}

using NodeAction = void (*)(const Session&, const NodeOptions&, std::uint32_t);

struct VerbText {
    const char* name;
    const char* about;
    std::string example;
};

/// A verb with one path; `second` names its second word, if it has one.
Verb addNodeVerb(Verb group, Session& session, const VerbText& text, const char* second,
                 std::uint32_t type, const std::shared_ptr<NodeOptions>& options,
                 NodeAction action) {
    Verb app = addVerb(group, session, text.name, text.about, text.example,
                       [&session, options, action, type] { action(session, *options, type); });
    app.text("path", options->node, "names from the top down, as \"A/B\", or #NUMBER", "PATH")
        .required();
    if (second != nullptr) {
        app.text(second, options->to,
                 std::string(second) == "group" ? "the group to put it in" : "the new name", "TEXT")
            .required();
    }
    return app;
}

void addCommonVerbs(Verb group, Session& session, std::uint32_t type, const std::string& sample) {
    const std::string name = nodeWord(type);
    const auto options = std::make_shared<NodeOptions>();
    addNodeVerb(group, session,
                {"rename", "give it another name", name + " rename " + sample + " Entrance"},
                "name", type, options, renameNode);
    addNodeVerb(
        group, session,
        {"move", "put it into another group", name + " move " + sample + " \"Second floor\""},
        "group", type, options, moveNode);
    Verb removed = addNodeVerb(group, session, {"remove", "remove it", name + " remove " + sample},
                               nullptr, type, options, removeNode);
    if (type == NODE_GROUP) {
        removed.flag("--force", options->force,
                     "with all that is in it, and take it out of ports that print to it");
    }
    addOutputOption(addVerb(group, session, "list", "list them", name + " list",
                            [&session, type] { listNodes(session, type); }),
                    session);
}

void addPrinterVerbs(Verb group, Session& session) {
    const auto added = std::make_shared<NodeOptions>();
    Verb add =
        addNodeVerb(group, session,
                    {"add", "add a printer to a group",
                     "printer add \"First floor/Sales\" --url ipp://sales.example/ipp/print"},
                    nullptr, NODE_PRINTER, added, addNode);
    added->urlOption = add.text("--url", added->url, "the printer's URL", "URL").required();
    addUrlRules(add, added->rules);
    addCredentialOptions(add, added->credentials);

    const auto changed = std::make_shared<NodeOptions>();
    Verb set = addVerb(group, session, "set", "change one printer or many; what is not named stays",
                       "printer set \"First floor/Sales\" --url https://sales.example/ipp/print",
                       [&session, changed] { setPrinter(session, *changed); });
    set.words("paths", changed->selection.names, "names from the top down, as \"A/B\", or #NUMBER",
              "PATHS");
    addSelectionOptions(set, changed->selection, "printers", printerKeys());
    addDryRun(set, changed->dryRun);
    changed->urlOption = set.text("--url", changed->url, "the printer's URL", "URL");
    changed->replaceOption = addUrlReplace(set, changed->replacements);
    changed->replaceOption.excludes(changed->urlOption);
    changed->nameOption = set.text("--name", changed->name, "a new name", "NAME");
    addUrlRules(set, changed->rules);
    addCredentialOptions(set, changed->credentials);

    addNodeVerb(group, session,
                {"show", "show a printer", "printer show \"First floor/Sales\" --json"}, nullptr,
                NODE_PRINTER, std::make_shared<NodeOptions>(),
                [](const Session& used, const NodeOptions& options, std::uint32_t) {
                    showPrinter(used, options);
                });
}

}  // namespace

void addDirectoryVerbs(Verb app, Session& session) {
    Verb groups = app.group("group", "groups of printers in the printer directory",
                            "group add \"First floor\"");
    addNodeVerb(groups, session, {"add", "add a group", "group add \"First floor/Left wing\""},
                nullptr, NODE_GROUP, std::make_shared<NodeOptions>(), addNode);
    addCommonVerbs(groups, session, NODE_GROUP, "\"First floor\"");

    Verb printers = app.group("printer", "printers in the printer directory", "printer list");
    addPrinterVerbs(printers, session);
    addCommonVerbs(printers, session, NODE_PRINTER, "\"First floor/Sales\"");
}

}  // namespace velmora::ctl
