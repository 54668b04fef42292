#include <map>
#include <nlohmann/json.hpp>

#include "port/port_config.h"
#include "port/url_text.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"
#include "velmoractl/text/template_attributes.h"

namespace velmora::ctl {
namespace {

/// Keys in the order of their bytes, whatever order the records are in: the same fleet gives the
/// same text.
Json sorted(const std::map<std::string, Json>& entries) {
    Json json = Json::object();
    for (const auto& [key, value] : entries)
        json[key] = value;
    return json;
}

Json addressJson(const PrinterAddress& address, bool withPassword, const TextCodec& codec) {
    Json json{{"url", codec.toUtf8(withPassword ? address.url : withoutUserInfo(address.url))}};
    if (address.useAuthentication) {
        json["user"] = codec.toUtf8(address.userName);
        if (withPassword) json["password"] = codec.toUtf8(address.password);
    }
    return json;
}

std::string pathFor(const DirectoryPaths& names, const CGroupsDBNode& group,
                    const TextCodec& codec) {
    const std::string path = names.pathOf(group.id);
    if (!path.starts_with('#')) return codec.toUtf8(path);
    throw FileError("the group " + path + " (" + inQuotes(codec.toUtf8(group.name)) +
                    ") has no path that is clear: give it another name with \"group rename " +
                    path + " NAME\", or write version 1");
}

Json groupsJson(const DirectoryPaths& names, bool withPasswords, const TextCodec& codec) {
    std::map<std::string, Json> groups;
    for (const auto& [id, node] : names.nodes()) {
        if (node->type != NODE_GROUP) continue;
        std::map<std::string, Json> printers;
        for (const CGroupsDBNode* child : names.children(id)) {
            if (child->type != NODE_PRINTER) continue;
            const auto& printer = static_cast<const CGroupsDBPrinter&>(*child);
            const std::string name = codec.toUtf8(printer.name);
            const bool clear = !name.empty() && names.child(id, printer.name) == child;
            Json json = addressJson(printer.address, withPasswords, codec);
            if (!clear || !printers.emplace(name, std::move(json)).second) {
                throw FileError("the printer #" + std::to_string(child->id) + " (" +
                                inQuotes(name) +
                                ") has no name, or one that is in its group twice: rename it, or "
                                "write version 1");
            }
        }
        if (id == kRootGroup && printers.empty()) continue;
        Json group = Json::object();
        if (!printers.empty()) group["printers"] = sorted(printers);
        groups.emplace(pathFor(names, *node, codec), std::move(group));
    }
    return sorted(groups);
}

/// The attributes that differ from those of a new port.
Json templateJson(const JobTemplate& job, const TextCodec& codec) {
    const Json usual = toJson(JobTemplate(), codec);
    const Json json = toJson(job, codec);
    Json different = Json::object();
    for (const auto& [key, value] : json.items()) {
        if (value != usual[key]) different[key] = value;
    }
    return different;
}

Json portJson(const PortConfig& port, const DirectoryPaths& names, bool withPasswords,
              const TextCodec& codec) {
    Json json{{"name", codec.toUtf8(port.name)}};
    if (port.singleTarget) {
        const Json address = addressJson(port.printer, withPasswords, codec);
        for (const auto& [key, value] : address.items())
            json[key] = value;
    } else {
        json["groups"] = Json::array();
        for (const std::uint32_t id : port.targetIds) {
            // A deleted group's number would be that of another one elsewhere.
            if (const CGroupsDBGroup* const group = names.group(id)) {
                json["groups"].push_back(pathFor(names, *group, codec));
            }
        }
    }
    Json job = templateJson(port.jobTemplate, codec);
    if (!job.empty()) json["job-template"] = std::move(job);
    return json;
}

Json queueJson(const QueueDescription& queue, const TextCodec& codec) {
    Json json{{"name", codec.toUtf8(queue.name)},
              {"port", codec.toUtf8(queue.port)},
              {"driver", codec.toUtf8(queue.driver)}};
    const auto add = [&](const char* key, const std::string& text) {
        if (!text.empty()) json[key] = codec.toUtf8(text);
    };
    add("share", queue.share);
    add("location", queue.location);
    add("comment", queue.comment);
    return json;
}

Json values(const std::map<std::string, Json>& entries) {
    Json list = Json::array();
    for (const auto& [name, entry] : entries)
        list.push_back(entry);
    return list;
}

}  // namespace

Json describe(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
              const std::vector<QueueDescription>* queues, bool withPasswords,
              const TextCodec& codec) {
    const DirectoryPaths names(directory);
    Json json{{"format", "velmora-configuration"}, {"version", 2}};
    json["groups"] = groupsJson(names, withPasswords, codec);
    std::map<std::string, Json> byName;
    for (const PortConfig& port : ports)
        byName.emplace(port.name, portJson(port, names, withPasswords, codec));
    json["ports"] = values(byName);
    if (queues != nullptr) {
        std::map<std::string, Json> queuesByName;
        for (const QueueDescription& queue : *queues)
            queuesByName.emplace(queue.name, queueJson(queue, codec));
        json["queues"] = values(queuesByName);
    }
    return json;
}

}  // namespace velmora::ctl
