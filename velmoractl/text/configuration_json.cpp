#include "velmoractl/text/configuration_file.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "port/url_text.h"
#include "velmoractl/text/template_attributes.h"

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

Json templateJson(const JobTemplate& job, const TextCodec& codec) {
    Json json = Json::object();
    for (const TemplateAttribute& attribute : templateAttributes()) {
        const std::string text = attribute.get(job);
        const bool digits =
            !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
        if (attribute.kind == TemplateAttribute::Kind::flag)
            json[attribute.name] = text == "true";
        else if (attribute.kind == TemplateAttribute::Kind::number && digits)
            json[attribute.name] = std::stoull(text);
        else
            json[attribute.name] = codec.toUtf8(text);
    }
    return json;
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

Json toJson(const PortConfig& port, bool withPassword, const TextCodec& codec) {
    Json json{{"name", codec.toUtf8(port.name)},
              {"mode", port.singleTarget ? "single-printer" : "multi-remote"},
              {"url", urlText(port.printer.url, withPassword, codec)}};
    addCredentials(json, port.printer.useAuthentication != 0, port.printer.userName,
                   port.printer.password, withPassword, codec);
    json["groups"] = port.targetIds;
    json["job-template"] = templateJson(port.jobTemplate, codec);
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

}  // namespace velmora::ctl
