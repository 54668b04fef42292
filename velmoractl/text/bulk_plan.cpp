#include "velmoractl/text/bulk_plan.h"

#include <nlohmann/json.hpp>
#include <set>

#include "directory/groups_db.h"
#include "port/port_config.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

void addNodeChanges(const CGroupsDB& before, const CGroupsDB& after, const TextCodec& codec,
                    std::vector<Change>& changes) {
    const DirectoryPaths oldNames(before);
    const DirectoryPaths newNames(after);
    for (const auto& [id, node] : after.nodes()) {
        const char* const thing = node->type == NODE_PRINTER ? "printer" : "group";
        const CGroupsDBNode* const old = before.FindNode(id);
        // A node is shown with its name before the change.
        const std::string path = codec.toUtf8((old == nullptr ? newNames : oldNames).pathOf(id));
        if (old == nullptr) {
            changes.push_back({Change::Kind::add, thing, path, {}});
            continue;
        }
        std::vector<Difference> list = differences(*old, *node, codec);
        if (!list.empty()) {
            changes.push_back({Change::Kind::change, thing, path, std::move(list)});
        }
    }
    for (const auto& [id, node] : before.nodes()) {
        if (after.FindNode(id) != nullptr) continue;
        changes.push_back({Change::Kind::remove,
                           node->type == NODE_PRINTER ? "printer" : "group",
                           codec.toUtf8(oldNames.pathOf(id)),
                           {}});
    }
}

bool takesPassword(const PrinterAddress& address, PasswordPlan& plan) {
    ++(address.useAuthentication ? plan.withPassword : plan.withoutAuthentication);
    return address.useAuthentication != 0;
}

void setPassword(CGroupsDBPrinter& printer, const std::string& password) {
    if (printer.address.useAuthentication) printer.address.password = password;
}

}  // namespace

std::vector<UrlReplacement> readUrlReplacements(const std::vector<std::string>& words,
                                                const TextCodec& codec, const std::string& what) {
    std::vector<UrlReplacement> result;
    for (const std::string& word : words) {
        const std::size_t sign = word.find('=');
        if (sign == 0 || sign == std::string::npos) {
            throw CommandError(ExitCode::usage, what,
                               "--url-replace cannot be " + inQuotes(codec.toUtf8(word)),
                               "give OLD=NEW: what URLs begin with, without \"=\", and what they "
                               "are to begin with",
                               "bad-value");
        }
        result.push_back({word.substr(0, sign), word.substr(sign + 1)});
    }
    return result;
}

std::optional<std::string> replaced(const std::string& url,
                                    const std::vector<UrlReplacement>& replacements) {
    for (const UrlReplacement& one : replacements) {
        if (url.starts_with(one.before)) return one.after + url.substr(one.before.size());
    }
    return std::nullopt;
}

void planPort(ConfigurationPlan& plan, const PortConfig& before, const PortConfig& after,
              const TextCodec& codec) {
    if (before == after) return;
    plan.changes.push_back({Change::Kind::change, "port", codec.toUtf8(before.name),
                            differences(before, after, codec)});
    plan.portsToChange.push_back(after);
}

std::vector<Change> directoryChanges(const CGroupsDB& before, const CGroupsDB& after,
                                     const TextCodec& codec) {
    std::vector<Change> changes;
    addNodeChanges(before, after, codec, changes);
    for (const auto& [name, pattern] : after.portPrinters()) {
        const auto old = before.portPrinters().find(name);
        if (old == before.portPrinters().end()) continue;
        std::vector<Difference> list = differences(*old->second, *pattern, codec);
        if (list.empty()) continue;
        changes.push_back({Change::Kind::change, "pattern", codec.toUtf8(name), std::move(list)});
    }
    return changes;
}

PasswordPlan planPasswords(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                           const Selector& selector, const PasswordKinds& kinds,
                           const std::string& password, const TextCodec& codec) {
    PasswordPlan plan;
    const auto answers = [](const CGroupsDBPrinter& printer) {
        return [&printer](std::string_view key) { return valuesOf(printer, key); };
    };
    if (kinds.ports) {
        for (const PortConfig& port : ports) {
            if (!port.singleTarget) continue;
            CGroupsDBPrinter printer;
            printer.name = port.name;
            printer.address = port.printer;
            if (!selector.fits(port.name, port.name, answers(printer))) continue;
            if (!takesPassword(port.printer, plan)) continue;
            PortConfig changed = port;
            changed.printer.password = password;
            planPort(plan.ports, port, changed, codec);
        }
    }
    std::set<std::string> changed;
    for (const PortConfig& port : plan.ports.portsToChange)
        changed.insert(port.name);
    if (kinds.printers) {
        for (const std::uint32_t id : selected(directory, selector)) {
            if (takesPassword(directory.FindPrinter(id)->address, plan))
                plan.printers.push_back(id);
        }
    }
    if (kinds.patterns) {
        for (const auto& [name, pattern] : directory.portPrinters()) {
            if (!selector.fits(name, name, answers(*pattern))) continue;
            if (takesPassword(pattern->address, plan)) plan.patterns.push_back(name);
        }
    }
    CGroupsDB after = copyOf(directory);
    applyPasswords(after, plan, password);
    for (Change& change : directoryChanges(directory, after, codec)) {
        // A port's pattern follows it.
        const bool follows = std::string_view(change.thing) == "pattern" &&
                             changed.contains(codec.fromUtf8(change.name).value_or(""));
        if (!follows) plan.ports.changes.push_back(std::move(change));
    }
    return plan;
}

void applyPasswords(CGroupsDB& directory, const PasswordPlan& plan, const std::string& password) {
    for (const std::uint32_t id : plan.printers) {
        if (CGroupsDBPrinter* const printer = directory.FindPrinter(id)) {
            setPassword(*printer, password);
        }
    }
    for (const std::string& name : plan.patterns) {
        const auto found = directory.portPrinters().find(name);
        if (found != directory.portPrinters().end()) setPassword(*found->second, password);
    }
}

}  // namespace velmora::ctl
