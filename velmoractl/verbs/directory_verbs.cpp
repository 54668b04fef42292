#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "velmoractl/monitor_channel.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/verbs/port_checks.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {
namespace {

/// What a group or printer verb was told.
struct NodeOptions {
    std::string node;
    std::string to;
    std::string url;
    std::string name;
    bool force = false;
    Credentials credentials;
    Option urlOption;
    Option nameOption;
};

const char* word(std::uint32_t type) {
    return type == NODE_PRINTER ? "printer" : "group";
}

CGroupsDBNode& requireNode(const CGroupsDB& directory, const std::string& path, std::uint32_t type,
                           const std::string& what) {
    CGroupsDBNode* const node = findNode(directory, path);
    if (node == nullptr || node->type != type) {
        throw CommandError(ExitCode::notFound, what,
                           std::string("there is no ") + word(type) + " " + quotedAnsi(path),
                           std::string("\"") + word(type) + " list\" shows what there is");
    }
    return *node;
}

/// Names of siblings differ; the tree's dialogs hold to that too.
void checkFreeName(const CGroupsDB& directory, std::uint32_t group, const std::string& name,
                   const std::string& what) {
    if (name.empty()) {
        throw CommandError(ExitCode::usage, what, "the name is empty", "give a name");
    }
    if (const CGroupsDBNode* const taken = childNamed(directory, group, name)) {
        throw CommandError(ExitCode::conflict, what,
                           std::string("a ") + word(taken->type) + " " + quotedAnsi(name) +
                               " is already in that group",
                           "choose another name or another group");
    }
}

void store(const Session& session, MonitorChannel& channel, const CGroupsDB& directory,
           const CGroupsDBNode& node, const std::string& done) {
    channel.storeDirectory(directory);
    if (session.json) session.answer(toJson(node, false, systemCodec()));
    session.say(done);
}

std::string title(const CGroupsDB& directory, const CGroupsDBNode& node) {
    std::string text = node.type == NODE_PRINTER ? "Printer " : "Group ";
    return text + quotedAnsi(pathOf(directory, node.id));
}

/// "A/B/C" is the name C in the group A/B.
std::pair<std::string, std::string> splitPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {"", path};
    return {path.substr(0, slash), path.substr(slash + 1)};
}

void addNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(word(type)) + " add " + quotedAnsi(options.node);
    if (type == NODE_PRINTER) checkUrl(options.url, what);
    MonitorChannel channel(session);
    CGroupsDB directory = channel.directory();
    const auto [groupPath, name] = splitPath(options.node);
    const std::uint32_t group = requireGroup(directory, groupPath, what).id;
    checkFreeName(directory, group, name, what);
    CGroupsDBNode* node = nullptr;
    if (type == NODE_GROUP) {
        node = directory.AddGroup(name, group);
    } else {
        std::uint8_t authentication = 0;
        std::string user, password;
        applyCredentials(options.credentials, authentication, user, password, what);
        node = directory.AddPrinter(name, options.url, authentication != 0, user, password, group);
    }
    store(session, channel, directory, *node, title(directory, *node) + " has been added.");
}

void renameNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(word(type)) + " rename " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    CGroupsDB directory = channel.directory();
    CGroupsDBNode& node = requireNode(directory, options.node, type, what);
    if (node.name != options.to) {
        checkFreeName(directory, node.parent, options.to, what);
        directory.RenameNode(node.id, options.to);
    }
    store(session, channel, directory, node, title(directory, node) + " has its new name.");
}

void moveNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(word(type)) + " move " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    CGroupsDB directory = channel.directory();
    CGroupsDBNode& node = requireNode(directory, options.node, type, what);
    const CGroupsDBGroup& target = requireGroup(directory, options.to, what);
    if (node.parent != target.id) {
        if (node.id == kRootGroup || !directory.CanPlace(node, target.id)) {
            throw CommandError(ExitCode::conflict, what,
                               "it cannot stand in " + quotedAnsi(options.to),
                               "a name may stand in a group only once, and no group in itself");
        }
        SetNodeParent(node, target.id);
    }
    store(session, channel, directory, node, title(directory, node) + " is in its new place.");
}

/// The ports that print to the group or to one below it, by name.
std::vector<std::string> portsUsing(MonitorChannel& channel, const CGroupsDB& directory,
                                    std::uint32_t removed) {
    std::vector<std::string> names;
    for (const PortConfig& port : channel.ports()) {
        const bool uses = std::ranges::any_of(port.targetIds, [&](std::uint32_t id) {
            const CGroupsDBNode* node = directory.FindNode(id);
            for (std::size_t steps = directory.nodes().size(); node != nullptr && steps > 0;
                 --steps) {
                if (node->id == removed) return true;
                node = directory.FindNode(node->parent);
            }
            return false;
        });
        if (uses) names.push_back(port.name);
    }
    return names;
}

void removeNode(const Session& session, const NodeOptions& options, std::uint32_t type) {
    const std::string what = std::string(word(type)) + " remove " + quotedAnsi(options.node);
    MonitorChannel channel(session);
    CGroupsDB directory = channel.directory();
    const CGroupsDBNode& node = requireNode(directory, options.node, type, what);
    if (node.id == kRootGroup) {
        throw CommandError(ExitCode::conflict, what, "this is the group that holds all others",
                           "remove the groups in it");
    }
    std::vector<CGroupsDBNode*> children;
    directory.GetChildren(node.id, children);
    if (!children.empty() && !options.force) {
        throw CommandError(ExitCode::conflict, what,
                           "it holds " + std::to_string(children.size()) + " groups or printers",
                           "remove them first, or add --force to remove them too");
    }
    const std::vector<std::string> ports =
        type == NODE_GROUP ? portsUsing(channel, directory, node.id) : std::vector<std::string>();
    if (!ports.empty() && !options.force) {
        throw CommandError(ExitCode::conflict, what,
                           "the port " + quotedAnsi(ports.front()) + " prints to it",
                           "give the port other groups first, or add --force");
    }
    const std::string done = title(directory, node) + " has been removed.";
    const std::string path = toUtf8(pathOf(directory, node.id));
    directory.DeleteNode(node.id);
    channel.storeDirectory(directory);
    if (session.json) session.answer({{"removed", path}});
    session.say(done);
}

void setPrinter(const Session& session, const NodeOptions& options) {
    const std::string what = "printer set " + quotedAnsi(options.node);
    if (options.urlOption.given()) checkUrl(options.url, what);
    MonitorChannel channel(session);
    CGroupsDB directory = channel.directory();
    auto& printer =
        static_cast<CGroupsDBPrinter&>(requireNode(directory, options.node, NODE_PRINTER, what));
    if (options.nameOption.given() && options.name != printer.name) {
        checkFreeName(directory, printer.parent, options.name, what);
        printer.name = options.name;
    }
    if (options.urlOption.given()) printer.uri = options.url;
    applyCredentials(options.credentials, printer.hasAuth, printer.userName, printer.password,
                     what);
    store(session, channel, directory, printer, title(directory, printer) + " has been changed.");
}

Json described(const CGroupsDB& directory, const CGroupsDBNode& node) {
    Json json = toJson(node, false, systemCodec());
    json["path"] = toUtf8(pathOf(directory, node.id));
    return json;
}

void showPrinter(const Session& session, const NodeOptions& options) {
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    const auto& printer = static_cast<const CGroupsDBPrinter&>(requireNode(
        directory, options.node, NODE_PRINTER, "printer show " + quotedAnsi(options.node)));
    if (session.json) return session.answer(described(directory, printer));
    writeOut(title(directory, printer) + " (#" + std::to_string(printer.id) +
             ")\n  url: " + quotedAnsi(printer.uri) + "\n");
    if (printer.hasAuth) {
        writeOut("  user " + quotedAnsi(printer.userName) + ", " +
                 (printer.password.empty() ? "no password" : "with a password") + "\n");
    }
}

void listNodes(const Session& session, std::uint32_t type) {
    MonitorChannel channel(session);
    const CGroupsDB directory = channel.directory();
    Json json = Json::array();
    for (const auto& [id, node] : directory.nodes()) {
        if (node->type != type) continue;
        if (session.json) {
            json.push_back(described(directory, *node));
            continue;
        }
        std::string line = quotedAnsi(pathOf(directory, id)) + "  #" + std::to_string(id);
        if (type == NODE_PRINTER) {
            line += "  " + quotedAnsi(static_cast<const CGroupsDBPrinter&>(*node).uri);
        } else {
            std::vector<CGroupsDBPrinter*> printers;
            directory.CollectPrinters(id, printers);
            line += "  " + std::to_string(printers.size()) + " printers";
        }
        writeOut(line + "\n");
    }
    if (session.json) session.answer(json);
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
    app.text("path", options->node, "names from the top down, as \"A/B\", or #ID", "PATH")
        .required();
    if (second != nullptr) {
        app.text(second, options->to, "where to, or the new name", "TEXT").required();
    }
    return app;
}

void addCommonVerbs(Verb group, Session& session, std::uint32_t type, const std::string& sample) {
    const std::string name = word(type);
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
                     "with all that is in it, and although ports print to it");
    }
    addVerb(group, session, "list", "list them", name + " list",
            [&session, type] { listNodes(session, type); });
}

void addPrinterVerbs(Verb group, Session& session) {
    const auto added = std::make_shared<NodeOptions>();
    Verb add =
        addNodeVerb(group, session,
                    {"add", "add a printer to a group",
                     "printer add \"First floor/Sales\" --url ipp://sales.example/ipp/print"},
                    nullptr, NODE_PRINTER, added, addNode);
    added->urlOption = add.text("--url", added->url, "the printer's URL", "URL").required();
    addCredentialOptions(add, added->credentials);

    const auto changed = std::make_shared<NodeOptions>();
    Verb set =
        addNodeVerb(group, session,
                    {"set", "change a printer; what is not named stays",
                     "printer set \"First floor/Sales\" --url https://sales.example/ipp/print"},
                    nullptr, NODE_PRINTER, changed,
                    [](const Session& used, const NodeOptions& options, std::uint32_t) {
                        setPrinter(used, options);
                    });
    changed->urlOption = set.text("--url", changed->url, "the printer's URL", "URL");
    changed->nameOption = set.text("--name", changed->name, "a new name", "NAME");
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
