#include "velmoractl/text/configuration_plan.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "port/url_text.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

std::vector<std::byte> payload(const CGroupsDB& directory) {
    std::vector<std::byte> bytes(directory.GetSize());
    directory.Serialize(bytes.data());
    return bytes;
}

std::unique_ptr<CGroupsDBNode> copyOf(const CGroupsDBNode& node) {
    if (node.type != NODE_PRINTER) {
        auto group = std::make_unique<CGroupsDBGroup>();
        *static_cast<CGroupsDBNode*>(group.get()) = node;
        return group;
    }
    return std::make_unique<CGroupsDBPrinter>(static_cast<const CGroupsDBPrinter&>(node));
}

std::map<std::string, const PortConfig*> byName(const std::vector<PortConfig>& ports) {
    std::map<std::string, const PortConfig*> index;
    for (const PortConfig& port : ports)
        index.try_emplace(port.name, &port);
    return index;
}

const PortConfig* find(const std::map<std::string, const PortConfig*>& index,
                       const std::string& name) {
    const auto found = index.find(name);
    return found == index.end() ? nullptr : found->second;
}

/// A URL as it is shown or logged.
Json safe(const std::string& key, const Json& value) {
    if (key == "url" && value.is_string()) return maskedUrl(value.get<std::string>());
    return value;
}

/// The differences of two JSON objects, one for each key.
void addDifferences(const Json& before, const Json& after, std::vector<Difference>& list) {
    for (const auto& [key, value] : after.items()) {
        const Json old = before.contains(key) ? before[key] : Json();
        if (old == value) continue;
        if (value.is_object()) {
            addDifferences(old.is_object() ? old : Json::object(), value, list);
        } else if (key == "password") {
            // Its text is neither shown nor logged.
            list.push_back({key, nullptr, "another"});
        } else {
            list.push_back({key, safe(key, old), safe(key, value)});
        }
    }
    for (const auto& [key, value] : before.items()) {
        if (after.contains(key)) continue;
        const bool secret = key == "password";
        list.push_back({key, secret ? Json("one") : safe(key, value), nullptr});
    }
}

/// A file without passwords lacks those in URLs too; the stored ones are kept then.
std::string keptUrl(const std::string& stored, const std::string& wanted) {
    return hasUserInfo(stored) && withoutUserInfo(stored) == wanted ? stored : wanted;
}

std::string noPassword(const std::string& what) {
    return what + " wants a password, the file has none and none is stored";
}

/// A description says nothing about what a port of its mode does not use: that stays as it is
/// stored, so that describing what is there changes nothing.
void keepUnused(PortConfig& port, const PortConfig& stored) {
    if (port.singleTarget != stored.singleTarget) return;
    if (!port.singleTarget) {
        port.printer = stored.printer;
        return;
    }
    port.targetIds = stored.targetIds;
    if (port.printer.useAuthentication || stored.printer.useAuthentication) return;
    port.printer.userName = stored.printer.userName;
    port.printer.password = stored.printer.password;
}

void keepPortPasswords(Configuration& wanted, const std::map<std::string, const PortConfig*>& ports,
                       ConfigurationPlan& plan, const TextCodec& codec) {
    for (PortConfig& port : wanted.ports) {
        const PortConfig* const stored = find(ports, port.name);
        if (stored != nullptr) port.printer.url = keptUrl(stored->printer.url, port.printer.url);
        if (!wanted.portsWithoutPassword.contains(port.name)) continue;
        if (stored != nullptr)
            port.printer.password = stored->printer.password;
        else
            plan.warnings.push_back(noPassword("port " + inQuotes(codec.toUtf8(port.name))));
    }
}

/// Brings the file's nodes into the stored tree.
class TreeMerge {
  public:
    TreeMerge(const Configuration& wanted, const CGroupsDB& stored,
              const std::vector<PortConfig>& ports, ConfigurationPlan& plan, const TextCodec& codec)
        : wanted_(wanted),
          file_(*wanted.directory),
          fileNames_(file_),
          stored_(stored),
          storedNames_(stored),
          plan_(plan),
          codec_(codec) {
        for (const PortConfig& port : ports) {
            for (const std::uint32_t id : port.targetIds) {
                // A deleted group's number must not bring another group to the ports that hold it.
                if (stored.FindNode(id) == nullptr) held_.insert(id);
            }
        }
    }

    void run() {
        match();
        number();
        *plan_.grown = ctl::copyOf(stored_);
        for (const CGroupsDBNode* node : order_)
            enter(*node);
        describe();
    }

    std::uint32_t idOf(std::uint32_t fileId) const {
        const auto found = ids_.find(fileId);
        return found == ids_.end() ? fileId : found->second;
    }

    bool isWanted(std::uint32_t storedId) const { return taken_.contains(storedId); }

  private:
    /// Matches the file's nodes with the stored ones, from the root down.
    void match() {
        order_.push_back(file_.FindNode(kRootGroup));
        if (stored_.FindGroup(kRootGroup) != nullptr) take(kRootGroup, kRootGroup);
        for (std::size_t i = 0; i < order_.size(); ++i) {
            for (const CGroupsDBNode* child : fileNames_.children(order_[i]->id)) {
                order_.push_back(child);
                const auto parent = ids_.find(order_[i]->id);
                if (parent == ids_.end()) continue;
                const auto matches = [&](const CGroupsDBNode* node) {
                    return node != nullptr && node->parent == parent->second &&
                           node->name == child->name && node->type == child->type &&
                           !taken_.contains(node->id);
                };
                const CGroupsDBNode* const same = stored_.FindNode(child->id);
                const CGroupsDBNode* const named = storedNames_.child(parent->second, child->name);
                if (matches(same))
                    take(child->id, child->id);
                else if (matches(named))
                    take(child->id, named->id);
            }
        }
    }

    void take(std::uint32_t fileId, std::uint32_t storedId) {
        ids_[fileId] = storedId;
        taken_.insert(storedId);
    }

    void number() {
        std::vector<std::uint32_t> without;
        std::set<std::uint32_t> given;
        for (const CGroupsDBNode* node : order_) {
            if (ids_.contains(node->id)) continue;
            if (stored_.FindNode(node->id) != nullptr || held_.contains(node->id)) {
                without.push_back(node->id);
            } else {
                ids_[node->id] = node->id;
                given.insert(node->id);
            }
        }
        std::uint32_t next = stored_.nextId();
        if (!given.empty()) next = std::max(next, *given.rbegin() + 1);
        for (const std::uint32_t id : without) {
            while (next < 2 || held_.contains(next) || given.contains(next) ||
                   stored_.FindNode(next) != nullptr) {
                ++next;
            }
            ids_[id] = next;
            given.insert(next++);
        }
    }

    void enter(const CGroupsDBNode& node) {
        std::unique_ptr<CGroupsDBNode> copy = copyOf(node);
        copy->id = ids_.at(node.id);
        copy->parent = node.id == kRootGroup ? node.parent : ids_.at(node.parent);
        if (copy->type == NODE_PRINTER) {
            auto& printer = static_cast<CGroupsDBPrinter&>(*copy);
            const CGroupsDBPrinter* const old = stored_.FindPrinter(copy->id);
            if (old != nullptr)
                printer.address.url = keptUrl(old->address.url, printer.address.url);
            if (wanted_.nodesWithoutPassword.contains(node.id)) {
                // A printer that has moved to another address must not be sent the old one's.
                if (old != nullptr && old->address.url == printer.address.url)
                    printer.address.password = old->address.password;
                else
                    plan_.warnings.push_back(noPassword(
                        "printer " + inQuotes(codec_.toUtf8(fileNames_.pathOf(node.id)))));
            }
            printer.address = withUsedCredentials(std::move(printer.address));
        }
        plan_.grown->Insert(std::move(copy));
    }

    void describe() {
        const DirectoryPaths names(*plan_.grown);
        for (const CGroupsDBNode* one : order_) {
            const CGroupsDBNode& node = *plan_.grown->FindNode(ids_.at(one->id));
            const CGroupsDBNode* const old = stored_.FindNode(node.id);
            const char* const thing = node.type == NODE_PRINTER ? "printer" : "group";
            const std::string path = codec_.toUtf8(names.pathOf(node.id));
            if (old == nullptr) {
                plan_.changes.push_back({Change::Kind::add, thing, path, {}});
                continue;
            }
            std::vector<Difference> list = differences(*old, node, codec_);
            if (!list.empty()) {
                plan_.changes.push_back({Change::Kind::change, thing, path, std::move(list)});
            }
        }
    }

    const Configuration& wanted_;
    const CGroupsDB& file_;
    const DirectoryPaths fileNames_;
    const CGroupsDB& stored_;
    const DirectoryPaths storedNames_;
    ConfigurationPlan& plan_;
    const TextCodec& codec_;
    std::set<std::uint32_t> held_;
    std::vector<const CGroupsDBNode*> order_;  ///< of the file, each after its parent
    std::map<std::uint32_t, std::uint32_t> ids_;
    std::set<std::uint32_t> taken_;
};

/// The stored nodes that are removed.
std::set<std::uint32_t> nodesToRemove(const CGroupsDB& stored, const TreeMerge& merge,
                                      const Removal& removal) {
    const DirectoryPaths names(stored);
    std::vector<const CGroupsDBNode*> order = {stored.FindNode(kRootGroup)};
    if (order.front() == nullptr) return {};
    for (std::size_t i = 0; i < order.size(); ++i) {
        for (const CGroupsDBNode* child : names.children(order[i]->id))
            order.push_back(child);
    }
    std::set<std::uint32_t> removed;
    for (auto node = order.rbegin(); node != order.rend(); ++node) {
        const CGroupsDBNode& one = **node;
        if (one.id == kRootGroup || merge.isWanted(one.id)) continue;
        const bool printer = one.type == NODE_PRINTER;
        if (!(printer ? removal.printers : removal.groups)) continue;
        const bool emptied = std::ranges::all_of(
            names.children(one.id),
            [&](const CGroupsDBNode* child) { return removed.contains(child->id); });
        if (emptied) removed.insert(one.id);
    }
    return removed;
}

void planRemoval(const CGroupsDB& stored, const TreeMerge& merge, const Removal& removal,
                 ConfigurationPlan& plan, std::set<std::uint32_t>& removed,
                 const TextCodec& codec) {
    removed = nodesToRemove(stored, merge, removal);
    const DirectoryPaths names(stored);
    for (const std::uint32_t id : removed) {
        const bool printer = stored.FindNode(id)->type == NODE_PRINTER;
        plan.changes.push_back({Change::Kind::remove,
                                printer ? "printer" : "group",
                                codec.toUtf8(names.pathOf(id)),
                                {}});
    }
    for (const auto& [id, node] : plan.grown->nodes())
        if (!removed.contains(id)) plan.pruned->Insert(copyOf(*node));
}

void planPatterns(const Configuration& wanted, const CGroupsDB& stored, ConfigurationPlan& plan) {
    bool differs = false;
    for (const auto& [name, pattern] : wanted.directory->portPrinters()) {
        CGroupsDBPrinter printer = *pattern;
        const auto found = stored.portPrinters().find(name);
        const CGroupsDBPrinter* const old =
            found == stored.portPrinters().end() ? nullptr : found->second.get();
        if (old != nullptr) printer.address.url = keptUrl(old->address.url, printer.address.url);
        if (wanted.portPrintersWithoutPassword.contains(name) && old != nullptr &&
            old->address.url == printer.address.url) {
            printer.address.password = old->address.password;
        }
        printer.address = withUsedCredentials(std::move(printer.address));
        differs |= old == nullptr || old->address != printer.address;
        plan.patterns.push_back(std::move(printer));
    }
    if (differs && plan.changes.empty()) {
        plan.changes.push_back({Change::Kind::change, "patterns", "", {}});
    }
}

void planPorts(const Configuration& wanted, const std::vector<PortConfig>& ports,
               const std::map<std::string, const PortConfig*>& storedPorts, bool removeOthers,
               const std::set<std::uint32_t>& removedNodes, const TextCodec& codec,
               ConfigurationPlan& plan) {
    for (const PortConfig& port : wanted.ports) {
        const PortConfig* const stored = find(storedPorts, port.name);
        const std::string name = codec.toUtf8(port.name);
        if (stored == nullptr) {
            plan.portsToAdd.push_back(port);
            plan.changes.push_back({Change::Kind::add, "port", name, {}});
        } else if (*stored != port) {
            plan.portsToChange.push_back(port);
            plan.changes.push_back(
                {Change::Kind::change, "port", name, differences(*stored, port, codec)});
        }
    }
    const auto named = byName(wanted.ports);
    for (const PortConfig& port : ports) {
        if (find(named, port.name) != nullptr) continue;
        const std::string name = codec.toUtf8(port.name);
        if (removeOthers) {
            plan.portsToRemove.push_back(port.name);
            plan.changes.push_back({Change::Kind::remove, "port", name, {}});
            continue;
        }
        PortConfig rest = port;
        std::erase_if(rest.targetIds, [&](std::uint32_t id) { return removedNodes.contains(id); });
        if (rest == port) continue;
        plan.warnings.push_back("port " + inQuotes(name) + " loses groups that are removed" +
                                (rest.targetIds.empty() ? ", and prints to none then" : ""));
        plan.changes.push_back(
            {Change::Kind::change, "port", name, differences(port, rest, codec)});
        plan.portsToChange.push_back(std::move(rest));
    }
}

void setPattern(CGroupsDB& directory, const CGroupsDBPrinter& pattern) {
    directory.SetPortPrinter(pattern.name, pattern.address);
}

/// Replaces the directory's nodes by those of `source`; its patterns stay.
void takeNodes(CGroupsDB& directory, const CGroupsDB& source) {
    CGroupsDB result = ctl::copyOf(source);
    for (const auto& [name, pattern] : source.portPrinters())
        result.RemovePortPrinter(name);
    for (const auto& [name, pattern] : directory.portPrinters())
        setPattern(result, *pattern);
    directory = std::move(result);
}

}  // namespace

ConfigurationPlan::ConfigurationPlan()
    : grown(std::make_unique<CGroupsDB>()), pruned(std::make_unique<CGroupsDB>()) {}
ConfigurationPlan::~ConfigurationPlan() = default;
ConfigurationPlan::ConfigurationPlan(ConfigurationPlan&&) noexcept = default;
ConfigurationPlan& ConfigurationPlan::operator=(ConfigurationPlan&&) noexcept = default;

CGroupsDB copyOf(const CGroupsDB& directory) {
    CGroupsDB copy;
    copy.Deserialize(payload(directory));
    return copy;
}

void grow(CGroupsDB& directory, const ConfigurationPlan& plan) {
    takeNodes(directory, *plan.grown);
}

void complete(CGroupsDB& directory, const ConfigurationPlan& plan,
              std::string (*folded)(std::string name)) {
    takeNodes(directory, *plan.pruned);
    std::map<std::string, std::string> names;
    for (const auto& [name, pattern] : directory.portPrinters())
        names[folded(name)] = name;
    for (const CGroupsDBPrinter& pattern : plan.patterns) {
        const auto found = names.find(folded(pattern.name));
        if (found != names.end()) directory.RemovePortPrinter(found->second);
        setPattern(directory, pattern);
    }
}

std::vector<Difference> differences(const PortConfig& before, const PortConfig& after,
                                    const TextCodec& codec) {
    std::vector<Difference> list;
    addDifferences(toJson(before, true, codec), toJson(after, true, codec), list);
    return list;
}

std::vector<Difference> differences(const CGroupsDBNode& before, const CGroupsDBNode& after,
                                    const TextCodec& codec) {
    std::vector<Difference> list;
    addDifferences(toJson(before, true, codec), toJson(after, true, codec), list);
    return list;
}

ConfigurationPlan planImport(Configuration& wanted, const std::vector<PortConfig>& ports,
                             const CGroupsDB& directory, const Removal& removal,
                             const TextCodec& codec) {
    ConfigurationPlan plan;
    const auto storedPorts = byName(ports);
    std::set<std::uint32_t> removedNodes;
    keepPortPasswords(wanted, storedPorts, plan, codec);
    if (wanted.directory) {
        TreeMerge merge(wanted, directory, ports, plan, codec);
        merge.run();
        for (PortConfig& port : wanted.ports) {
            for (std::uint32_t& id : port.targetIds)
                id = merge.idOf(id);
        }
        planRemoval(directory, merge, removal, plan, removedNodes, codec);
    } else {
        *plan.grown = copyOf(directory);
        *plan.pruned = copyOf(directory);
    }
    if (wanted.isDescription) {
        for (PortConfig& port : wanted.ports) {
            if (const PortConfig* const stored = find(storedPorts, port.name)) {
                keepUnused(port, *stored);
            }
        }
    }
    planPorts(wanted, ports, storedPorts, removal.ports, removedNodes, codec, plan);
    if (wanted.directory) planPatterns(wanted, directory, plan);
    return plan;
}

}  // namespace velmora::ctl
