// A file of version 1: how it is written, and how it is read.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "port/url_text.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/configuration_values.h"
#include "velmoractl/text/configuration_versions.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"
#include "velmoractl/text/whole_number.h"

namespace velmora::ctl {
namespace {

void addCredentials(Json& json, bool authentication, const std::string& user,
                    const std::string& password, bool withPassword, const TextCodec& codec) {
    json["authentication"] = authentication;
    // The record may hold a user name although authentication is off.
    if (!user.empty() || authentication) json["user"] = codec.toUtf8(user);
    if (withPassword && (!password.empty() || authentication)) {
        json["password"] = codec.toUtf8(password);
    }
}

std::string urlText(const std::string& url, bool withPassword, const TextCodec& codec) {
    return codec.toUtf8(withPassword ? url : withoutUserInfo(url));
}

Json portPrinterJson(const CGroupsDBPrinter& printer, bool withPassword, const TextCodec& codec) {
    Json json{{"port", codec.toUtf8(printer.name)},
              {"url", urlText(printer.address.url, withPassword, codec)}};
    addCredentials(json, printer.address.useAuthentication != 0, printer.address.userName,
                   printer.address.password, withPassword, codec);
    return json;
}

}  // namespace

Configuration::Configuration() = default;
Configuration::~Configuration() = default;
Configuration::Configuration(Configuration&&) noexcept = default;
Configuration& Configuration::operator=(Configuration&&) noexcept = default;

Json toJson(const JobTemplate& job, const TextCodec& codec) {
    Json json = Json::object();
    for (const TemplateAttribute& attribute : templateAttributes()) {
        const std::string text = attribute.get(job);
        const auto number = wholeNumber<std::uint64_t>(text);
        if (attribute.kind == TemplateAttribute::Kind::flag)
            json[attribute.name] = text == "true";
        else if (attribute.kind == TemplateAttribute::Kind::number && number)
            json[attribute.name] = *number;
        else
            json[attribute.name] = codec.toUtf8(text);
    }
    return json;
}

Json toJson(const PortConfig& port, bool withPassword, const TextCodec& codec) {
    Json json{{"name", codec.toUtf8(port.name)},
              {"mode", port.singleTarget ? "single-printer" : "multi-remote"},
              {"url", urlText(port.printer.url, withPassword, codec)}};
    addCredentials(json, port.printer.useAuthentication != 0, port.printer.userName,
                   port.printer.password, withPassword, codec);
    json["groups"] = port.targetIds;
    json["job-template"] = toJson(port.jobTemplate, codec);
    return json;
}

Json toJson(const CGroupsDBNode& node, bool withPassword, const TextCodec& codec) {
    Json json{{"id", node.id},
              {"parent", node.parent},
              {"type", node.type == NODE_PRINTER ? "printer" : "group"},
              {"name", codec.toUtf8(node.name)}};
    if (node.type == NODE_PRINTER) {
        const auto& printer = static_cast<const CGroupsDBPrinter&>(node);
        json["url"] = urlText(printer.address.url, withPassword, codec);
        addCredentials(json, printer.address.useAuthentication != 0, printer.address.userName,
                       printer.address.password, withPassword, codec);
    }
    return json;
}

Json toJson(const std::vector<PortConfig>& ports, const CGroupsDB& directory, bool withPasswords,
            const TextCodec& codec) {
    Json json{{"format", "velmora-configuration"}, {"version", 1}};
    json["ports"] = Json::array();
    for (const PortConfig& port : ports) {
        PortConfig written = port;
        // The number of a deleted group would be that of another one elsewhere.
        std::erase_if(written.targetIds,
                      [&](std::uint32_t id) { return directory.FindGroup(id) == nullptr; });
        json["ports"].push_back(toJson(written, withPasswords, codec));
    }
    Json nodes = Json::array();
    for (const auto& [id, node] : directory.nodes()) {
        nodes.push_back(toJson(*node, withPasswords, codec));
    }
    Json portPrinters = Json::array();
    for (const auto& [name, printer] : directory.portPrinters()) {
        portPrinters.push_back(portPrinterJson(*printer, withPasswords, codec));
    }
    json["directory"] = {{"nodes", std::move(nodes)}, {"port-printers", std::move(portPrinters)}};
    return json;
}

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

/// Every node must be reachable from the root: a damaged tree is not imported.
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
