#include "ui/port_main_rules.h"

#include <algorithm>

#include "directory/child_index.h"
#include "directory/groups_db.h"
#include "port/port_config.h"
#include "ui/printer_form.h"
#include "ui/resources/resource_ids.h"

namespace velmora {

PortMainControls usableControls(bool singlePrinter, bool authentication) noexcept {
    return {.url = singlePrinter,
            .credentials = singlePrinter && authentication,
            .groups = !singlePrinter};
}

std::optional<Refusal> checkPortName(const std::string& name,
                                     const std::vector<std::string>& existing) {
    if (name.empty()) return Refusal{IDS_PORT_NAME_MISSING, IDC_PORT_NAME};
    if (std::find(existing.begin(), existing.end(), name) != existing.end())
        return Refusal{IDS_PORT_NAME_USED, IDC_PORT_NAME};
    return std::nullopt;
}

std::optional<Refusal> checkTarget(const PortMainData& data,
                                   const std::function<bool(const std::string&)>& isValidUrl) {
    if (data.mode != kSinglePrinter) return std::nullopt;
    return checkPrinterUrl(data.printer.url, IDC_PORT_URL, isValidUrl);
}

std::vector<GroupRow> groupRows(const CGroupsDB& directory) {
    std::vector<CGroupsDBGroup*> groups;
    directory.GetGroups(groups);
    std::vector<GroupRow> rows;
    rows.reserve(groups.size());
    const auto printers = printerCounts(directory.nodes());
    for (const CGroupsDBGroup* group : groups)
        rows.push_back({group->id, group->name, printers.find(group->id)->second});
    return rows;
}

void CheckedGroups::append(std::uint32_t id) {
    if (!ticks_.emplace(id, nextTick_).second) return;
    byTick_.emplace_hint(byTick_.end(), nextTick_, id);
    ++nextTick_;
}

std::vector<std::uint32_t> CheckedGroups::ids() const {
    std::vector<std::uint32_t> ids;
    ids.reserve(byTick_.size());
    for (const auto& [tick, id] : byTick_)
        ids.push_back(id);
    return ids;
}

void CheckedGroups::assign(const std::vector<std::uint32_t>& ids) {
    byTick_.clear();
    ticks_.clear();
    for (const std::uint32_t id : ids)
        append(id);
}

void CheckedGroups::change(std::uint32_t id, bool checked) {
    if (const auto found = ticks_.find(id); found != ticks_.end()) {
        byTick_.erase(found->second);
        ticks_.erase(found);
    }
    if (checked) append(id);
}

void CheckedGroups::keepGroupsOf(const CGroupsDB& directory) {
    std::erase_if(ticks_,
                  [&](const auto& entry) { return directory.FindGroup(entry.first) == nullptr; });
    std::erase_if(byTick_, [&](const auto& entry) { return !contains(entry.second); });
}

void storePattern(const PortMainData& data, CGroupsDB& directory) {
    if (data.printer.url.empty())
        removePattern(data, directory);
    else
        directory.SetPortPrinter(data.name, data.printer);
}

void removePattern(const PortMainData& data, CGroupsDB& directory) {
    directory.RemovePortPrinter(data.name);
}

PortMainData pageData(const PortConfig& config) {
    return {.mode = config.singleTarget != 0 ? kSinglePrinter : kMultiRemote,
            .name = config.name,
            .printer = config.printer};
}

void storePageData(const PortMainData& data, std::vector<std::uint32_t> groups,
                   PortConfig& config) {
    const bool single = data.mode == kSinglePrinter;
    config.name = data.name;
    config.printer = single ? withUsedCredentials(data.printer) : PrinterAddress();
    config.singleTarget = single;
    config.targetIds = single ? std::vector<std::uint32_t>() : std::move(groups);
}

}  // namespace velmora
