#include "ui/port_main_rules.h"

#include <algorithm>

#include "directory/child_index.h"
#include "directory/groups_db.h"
#include "ui/resources/resource_ids.h"

namespace velmora {

PortMainControls usableControls(bool singlePrinter, bool authentication) noexcept {
    return {.url = singlePrinter,
            .credentials = singlePrinter && authentication,
            .groups = !singlePrinter};
}

std::optional<PortRefusal> checkPortName(const std::string& name,
                                         const std::vector<std::string>& existing) {
    if (name.empty()) return PortRefusal{IDS_PORT_NAME_MISSING, IDC_PORT_NAME, false};
    if (std::find(existing.begin(), existing.end(), name) != existing.end())
        return PortRefusal{IDS_PORT_NAME_USED, IDC_PORT_NAME, false};
    return std::nullopt;
}

std::optional<PortRefusal> checkTarget(const PortMainData& data,
                                       const std::function<bool(const std::string&)>& isValidUrl) {
    if (data.mode != kSinglePrinter) return std::nullopt;
    if (data.url.empty()) return PortRefusal{IDS_URL_MISSING, IDC_PORT_URL, false};
    if (!isValidUrl(data.url)) return PortRefusal{IDS_URL_INVALID, IDC_PORT_URL, true};
    return std::nullopt;
}

std::vector<GroupRow> groupRows(const CGroupsDB& directory) {
    std::vector<CGroupsDBGroup*> groups;
    directory.GetGroups(groups);
    std::vector<GroupRow> rows;
    rows.reserve(groups.size());
    const ChildIndex index(directory.nodes());
    for (const CGroupsDBGroup* group : groups)
        rows.push_back({group->id, group->name, printersBelow(index, group->id).size()});
    return rows;
}

PortMainData pageData(const PortConfig& config) {
    return {.authentication = config.useAuthentication != 0 ? 1 : 0,
            .mode = config.singleTarget != 0 ? kSinglePrinter : kMultiRemote,
            .name = config.name,
            .userName = config.userName,
            .password = config.password,
            .url = config.printerUrl};
}

void storePageData(const PortMainData& data, std::vector<std::uint32_t> groups,
                   PortConfig& config) {
    const bool single = data.mode == kSinglePrinter;
    const bool authentication = single && data.authentication != 0;
    config.name = data.name;
    config.printerUrl = single ? data.url : std::string();
    config.singleTarget = single;
    config.useAuthentication = authentication;
    config.userName = authentication ? data.userName : std::string();
    config.password = authentication ? data.password : std::string();
    config.targetIds = single ? std::vector<std::uint32_t>() : std::move(groups);
}

}  // namespace velmora
