#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "directory/directory_records.h"
#include "platform/registry.h"

namespace velmora {

/// Keeps the printer directory in the registry, below `baseKey` of HKEY_LOCAL_MACHINE. Layout and
/// reading rules: groups_store.cpp. Loads and saves within the process follow each other; the last
/// save wins.
class RegistryGroupsStore : public GroupsStore {
  public:
    /// `baseKey` without a trailing backslash; `rootName` is the name that the root group has until
    /// one is stored.
    RegistryGroupsStore(std::string baseKey, std::string rootName);

    void load(CGroupsDB& directory) override;
    void save(const CGroupsDB& directory) override;

    /// 0 if the last load has read everything that is stored. Else the first code with which the
    /// registry refused to return an existing part: saving the directory would delete that part.
    /// Values that are missing or too long do not count.
    LSTATUS loadError() const noexcept { return loadError_; }

    // The part of a save of the whole directory that concerns one port's printer, for a store that
    // is otherwise unchanged since a save. For names without a backslash. False if that was not
    // possible.
    void savePortPrinter(const CGroupsDBPrinter& printer);
    bool erasePortPrinter(const std::string& portName);

    /// The state of both keys; empty if one is missing.
    struct Stamp {
        RegistryStamp groups, printers;
        bool operator==(const Stamp&) const = default;
    };
    std::optional<Stamp> stamp() const;

  private:
    void savePortPrinters(const PortPrinters& records);

    std::string groupsKey_;
    std::string printersKey_;
    std::string rootName_;
    LSTATUS loadError_ = ERROR_SUCCESS;
};

/// The id that the subkey's name means: a decimal number with atol's leniency (leading blanks,
/// a sign, anything after the digits; 0 if there are none), read in 64 bits and cut to the
/// low 32.
std::uint32_t nodeIdOfKey(const char* name) noexcept;

}  // namespace velmora
