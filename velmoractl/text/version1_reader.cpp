#include <optional>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

/// `names`: null if there is no directory to look the group up in; its number is 0 then.
std::uint32_t readGroup(const ObjectReader& reader, const Json& value,
                        const DirectoryPaths* names) {
    const bool byNumber = value.is_number();
    const std::string path = byNumber ? "#" + std::to_string(reader.number(value, "groups"))
                                      : reader.stored(value, "groups");
    if (names == nullptr) return 0;
    const CGroupsDBNode* const node = names->find(path);
    if (node == nullptr || node->type != NODE_GROUP) {
        reader.fail("names the group " + inQuotes(reader.codec().toUtf8(path)) +
                    ", which the printer directory lacks; " + std::string(kCaseRule));
    }
    return node->id;
}

PortConfig readPort(const ObjectReader& reader, const DirectoryPaths* names,
                    Configuration& result) {
    reader.allow(
        {"name", "mode", "url", "authentication", "user", "password", "groups", "job-template"});
    PortConfig port;
    port.name = reader.text("name");
    if (port.name.empty()) reader.fail("has an empty name");
    const std::string mode = reader.text("mode", reader.has("url") ? "single-printer" : "");
    if (mode != "single-printer" && mode != "multi-remote") {
        reader.fail("needs a \"url\", or a \"mode\": single-printer or multi-remote");
    }
    port.singleTarget = mode == "single-printer" ? 1 : 0;
    port.printer.url = readUrl(reader, "");
    if (port.singleTarget && port.printer.url.empty()) {
        reader.fail("is a single-printer port without a \"url\"");
    }
    const FileCredentials credentials = readCredentials(reader);
    port.printer.useAuthentication = credentials.authentication ? 1 : 0;
    port.printer.userName = credentials.user;
    port.printer.password = credentials.password;
    if (credentials.passwordMissing) result.portsWithoutPassword.insert(port.name);
    if (reader.has("groups")) {
        for (const Json& group : reader.list("groups")) {
            port.targetIds.push_back(readGroup(reader, group, names));
        }
    }
    if (reader.has("job-template")) {
        readTemplate(reader.child("job-template"), port.jobTemplate, result.warnings);
    }
    return port;
}

std::unique_ptr<CGroupsDBNode> readNode(const ObjectReader& reader, Configuration& result) {
    reader.allow({"id", "parent", "type", "name", "url", "authentication", "user", "password"});
    const std::string type = reader.text("type");
    std::unique_ptr<CGroupsDBNode> node;
    if (type == "group") {
        node = std::make_unique<CGroupsDBGroup>();
    } else if (type == "printer") {
        const FileCredentials credentials = readCredentials(reader);
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->address = {readUrl(reader, nullptr), credentials.authentication, credentials.user,
                            credentials.password};
        if (credentials.passwordMissing) result.nodesWithoutPassword.insert(reader.number("id"));
        node = std::move(printer);
    } else {
        reader.fail("has a \"type\" that is neither group nor printer");
    }
    node->id = reader.number("id");
    node->parent = reader.number("parent");
    node->name = reader.text("name");
    return node;
}

/// Every node must be reached from the root: a tree that is not one is not brought in.
void checkTree(const CGroupsDB& directory) {
    if (directory.FindGroup(kRootGroup) == nullptr) {
        throw FileError("directory lacks the root group, the node with \"id\": 1");
    }
    const DirectoryPaths names(directory);
    std::set<std::uint32_t> reached = {kRootGroup};
    std::vector<std::uint32_t> groups = {kRootGroup};
    while (!groups.empty()) {
        const std::uint32_t group = groups.back();
        groups.pop_back();
        for (const CGroupsDBNode* child : names.children(group)) {
            if (!reached.insert(child->id).second) continue;
            if (child->type == NODE_GROUP) groups.push_back(child->id);
        }
    }
    for (const auto& [id, node] : directory.nodes()) {
        if (reached.contains(id)) continue;
        throw FileError("directory, node " + std::to_string(id) +
                        " does not lead to the root group by its \"parent\"");
    }
}

CGroupsDB readDirectory(const ObjectReader& reader, Configuration& result) {
    reader.allow({"nodes", "port-printers"});
    CGroupsDB directory;
    std::size_t index = 0;
    for (const Json& json : reader.list("nodes")) {
        const ObjectReader item = reader.item(json, "directory, node", index++);
        std::unique_ptr<CGroupsDBNode> node = readNode(item, result);
        if (directory.FindNode(node->id) != nullptr) item.fail("has an \"id\" that is taken");
        directory.Insert(std::move(node));
    }
    checkTree(directory);
    if (!reader.has("port-printers")) return directory;
    index = 0;
    for (const Json& json : reader.list("port-printers")) {
        const ObjectReader item = reader.item(json, "directory, port printer", index++);
        item.allow({"port", "url", "authentication", "user", "password"});
        const FileCredentials credentials = readCredentials(item);
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->name = item.text("port");
        printer->address = {readUrl(item, nullptr), credentials.authentication, credentials.user,
                            credentials.password};
        if (credentials.passwordMissing) result.portPrintersWithoutPassword.insert(printer->name);
        directory.InsertPortPrinter(std::move(printer));
    }
    return directory;
}

}  // namespace

Configuration readVersion1(const Json& json, const CGroupsDB* current, const TextCodec& codec) {
    const ObjectReader reader(json, "the file", codec);
    reader.allow({"format", "version", "ports", "directory"});
    Configuration result;
    if (reader.has("directory"))
        result.directory =
            std::make_unique<CGroupsDB>(readDirectory(reader.child("directory"), result));
    const CGroupsDB* const directory = result.directory ? result.directory.get() : current;
    result.hasPorts = reader.has("ports");
    if (result.hasPorts) {
        std::optional<DirectoryPaths> names;
        if (directory != nullptr) names.emplace(*directory);
        std::set<std::string> taken;
        std::size_t index = 0;
        for (const Json& port : reader.list("ports")) {
            const ObjectReader item = reader.item(port, "port", index++);
            PortConfig config = readPort(item, names ? &*names : nullptr, result);
            if (!taken.insert(folded(config.name)).second) {
                item.fail("has a name that an earlier one has; " + std::string(kCaseRule));
            }
            result.ports.push_back(std::move(config));
        }
    }
    return result;
}

}  // namespace velmora::ctl
