#include "velmoractl/text/configuration_plan.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

std::vector<std::byte> payload(const CGroupsDB& directory) {
    std::vector<std::byte> bytes(directory.GetSize());
    directory.Serialize(bytes.data());
    return bytes;
}

const PortConfig* findPort(const std::vector<PortConfig>& ports, const std::string& name) {
    const auto found = std::ranges::find(ports, name, &PortConfig::name);
    return found == ports.end() ? nullptr : &*found;
}

const CGroupsDBPrinter* portPrinter(const CGroupsDB& directory, const std::string& port) {
    const auto found = directory.portPrinters().find(port);
    return found == directory.portPrinters().end() ? nullptr : found->second.get();
}

/// Differences of two JSON objects, a line a key; lists and texts as they are written.
void addDifferences(const Json& before, const Json& after, std::vector<std::string>& lines) {
    for (const auto& [key, value] : after.items()) {
        const Json old = before.contains(key) ? before[key] : Json();
        if (old == value) continue;
        if (value.is_object()) {
            addDifferences(old.is_object() ? old : Json::object(), value, lines);
        } else if (key == "password") {
            // Its text stays out of screens and logs.
            lines.push_back("password: another");
        } else {
            lines.push_back(key + ": " + (old.is_null() ? "none" : shown(old.dump())) + " -> " +
                            shown(value.dump()));
        }
    }
    for (const auto& [key, value] : before.items()) {
        if (after.contains(key)) continue;
        const bool secret = key == "password";
        lines.push_back(secret ? "password: none" : key + ": " + shown(value.dump()) + " -> none");
    }
}

void keepPasswords(Configuration& wanted, const std::vector<PortConfig>& ports,
                   const CGroupsDB& directory, ConfigurationPlan& plan, const TextCodec& codec) {
    const auto missing = [&](const std::string& what) {
        plan.warnings.push_back(what + " wants a password, the file has none and none is stored");
    };
    for (PortConfig& port : wanted.ports) {
        if (!wanted.portsWithoutPassword.contains(port.name)) continue;
        const PortConfig* const stored = findPort(ports, port.name);
        if (stored != nullptr)
            port.password = stored->password;
        else
            missing("port " + inQuotes(codec.toUtf8(port.name)));
    }
    if (!wanted.directory) return;
    for (const std::uint32_t id : wanted.nodesWithoutPassword) {
        const CGroupsDBPrinter* const stored = directory.FindPrinter(id);
        CGroupsDBPrinter* const printer = wanted.directory->FindPrinter(id);
        // An id may have gone to another printer, which must not be sent this one's password.
        if (stored != nullptr && stored->uri == printer->uri)
            printer->password = stored->password;
        else
            missing("printer " + inQuotes(codec.toUtf8(pathOf(*wanted.directory, id))));
    }
    for (const std::string& port : wanted.portPrintersWithoutPassword) {
        const CGroupsDBPrinter* const stored = portPrinter(directory, port);
        const auto& printer = wanted.directory->portPrinters().at(port);
        if (stored != nullptr && stored->uri == printer->uri) printer->password = stored->password;
    }
}

void planPorts(const Configuration& wanted, const std::vector<PortConfig>& ports, bool removeOthers,
               const TextCodec& codec, ConfigurationPlan& plan) {
    for (const PortConfig& port : wanted.ports) {
        const PortConfig* const stored = findPort(ports, port.name);
        const std::string what = "port " + inQuotes(codec.toUtf8(port.name));
        if (stored == nullptr) {
            plan.portsToAdd.push_back(port);
            plan.changes.push_back({Change::Kind::add, what, {}});
        } else if (*stored != port) {
            plan.portsToChange.push_back(port);
            plan.changes.push_back({Change::Kind::change, what, differences(*stored, port, codec)});
        }
    }
    if (!removeOthers) return;
    for (const PortConfig& port : ports) {
        if (findPort(wanted.ports, port.name) != nullptr) continue;
        plan.portsToRemove.push_back(port.name);
        plan.changes.push_back(
            {Change::Kind::remove, "port " + inQuotes(codec.toUtf8(port.name)), {}});
    }
}

std::string nodeTitle(const CGroupsDB& directory, const CGroupsDBNode& node,
                      const TextCodec& codec) {
    return (node.type == NODE_PRINTER ? "printer " : "group ") +
           inQuotes(codec.toUtf8(pathOf(directory, node.id)));
}

void planDirectory(const CGroupsDB& wanted, const CGroupsDB& stored, const TextCodec& codec,
                   ConfigurationPlan& plan) {
    for (const auto& [id, node] : wanted.nodes()) {
        const CGroupsDBNode* const old = stored.FindNode(id);
        const std::string what = nodeTitle(wanted, *node, codec);
        if (old == nullptr) {
            plan.changes.push_back({Change::Kind::add, what, {}});
            continue;
        }
        std::vector<std::string> lines;
        addDifferences(toJson(*old, true, codec), toJson(*node, true, codec), lines);
        if (!lines.empty()) plan.changes.push_back({Change::Kind::change, what, lines});
    }
    for (const auto& [id, node] : stored.nodes()) {
        if (wanted.FindNode(id) != nullptr) continue;
        plan.changes.push_back({Change::Kind::remove, nodeTitle(stored, *node, codec), {}});
    }
}

}  // namespace

bool sameDirectory(const CGroupsDB& one, const CGroupsDB& other) {
    return payload(one) == payload(other);
}

std::vector<std::string> differences(const PortConfig& before, const PortConfig& after,
                                     const TextCodec& codec) {
    std::vector<std::string> lines;
    addDifferences(toJson(before, true, codec), toJson(after, true, codec), lines);
    return lines;
}

ConfigurationPlan planImport(Configuration& wanted, const std::vector<PortConfig>& ports,
                             const CGroupsDB& directory, bool removeOthers,
                             const TextCodec& codec) {
    ConfigurationPlan plan;
    keepPasswords(wanted, ports, directory, plan, codec);
    planPorts(wanted, ports, removeOthers, codec, plan);
    if (wanted.directory && !sameDirectory(*wanted.directory, directory)) {
        plan.directoryChanges = true;
        planDirectory(*wanted.directory, directory, codec, plan);
        if (plan.changes.empty()) {
            plan.changes.push_back({Change::Kind::change, "patterns of the ports' printers", {}});
        }
    }
    // Saving a port also stores its printer as a pattern; the file's directory has the last word.
    if (wanted.directory && !plan.changes.empty()) plan.directoryChanges = true;
    return plan;
}

}  // namespace velmora::ctl
