#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/printer_address.h"
#include "ui/kit/refusal.h"

namespace velmora {

class CGroupsDB;
struct PortConfig;

// The rules of the port main page, without its window.

// The modes, as the radio buttons number them.
inline constexpr int kSinglePrinter = 0;
inline constexpr int kMultiRemote = 1;

/// The page's data, as its controls hold them.
struct PortMainData {
    int mode = kSinglePrinter;
    std::string name;
    PrinterAddress printer;
};

/// Which controls can be used. The credentials are the two boxes with their labels.
struct PortMainControls {
    bool url = false;  ///< with its label and the authentication box
    bool credentials = false;
    bool groups = false;
};
PortMainControls usableControls(bool singlePrinter, bool authentication) noexcept;

/// A new port's name must not be empty, nor that of an existing port (exact comparison).
std::optional<Refusal> checkPortName(const std::string& name,
                                     const std::vector<std::string>& existing);

/// A single printer must have a URL that `isValidUrl` accepts.
std::optional<Refusal> checkTarget(const PortMainData& data,
                                   const std::function<bool(const std::string&)>& isValidUrl);

/// One row of the list of groups.
struct GroupRow {
    std::uint32_t id;
    std::string name;
    std::size_t printers;  ///< below the group, each counted once

    bool operator==(const GroupRow&) const = default;
};
std::vector<GroupRow> groupRows(const CGroupsDB& directory);

/// The printer groups that are ticked for a port, in the order in which the user ticked them.
class CheckedGroups {
  public:
    std::vector<std::uint32_t> ids() const;
    /// A group that is listed twice counts at its first place.
    void assign(const std::vector<std::uint32_t>& ids);

    bool contains(std::uint32_t id) const { return ticks_.contains(id); }
    /// The user's tick or untick. A group that is ticked again moves to the end.
    void change(std::uint32_t id, bool checked);
    /// Drops ids that are no longer groups in the directory: they may be given to new nodes.
    void keepGroupsOf(const CGroupsDB& directory);

  private:
    void append(std::uint32_t id);

    // Ids by the number of their tick, and the reverse: searching would be slow for thousands.
    std::map<std::uint64_t, std::uint32_t> byTick_;
    std::unordered_map<std::uint32_t, std::uint64_t> ticks_;
    std::uint64_t nextTick_ = 0;
};

/// Keeps the printer that the page holds as the port's pattern, which other dialogs offer. Its URL
/// alone decides, whatever the mode: a multi-remote port keeps the printer that was typed in
/// before.
void storePattern(const PortMainData& data, CGroupsDB& directory);
/// Takes the port's pattern out of the directory.
void removePattern(const PortMainData& data, CGroupsDB& directory);

/// Conversion between record and page. The first returns what the page starts with; the second
/// writes the result into the record, without what the chosen mode does not use: a multi-remote
/// port has no URL and no authentication, a port without authentication no credentials, and a
/// single-printer port no groups.
PortMainData pageData(const PortConfig& config);
void storePageData(const PortMainData& data, std::vector<std::uint32_t> groups, PortConfig& config);

}  // namespace velmora
