#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "velmoractl/text/configuration_plan.h"
#include "velmoractl/text/selection.h"

namespace velmora::ctl {

// What one verb does to many ports and printers, shown before it is done.

/// --url-replace: URLs that begin with `before` begin with `after` instead.
struct UrlReplacement {
    std::string before, after;
};

/// Reads words of the form OLD=NEW; OLD ends at the first "=". Throws CommandError, which begins
/// with `what`.
std::vector<UrlReplacement> readUrlReplacements(const std::vector<std::string>& words,
                                                const TextCodec& codec, const std::string& what);
/// The URL with its beginning replaced by the first replacement that fits; none if none does.
std::optional<std::string> replaced(const std::string& url,
                                    const std::vector<UrlReplacement>& replacements);

/// Adds a port's change to the plan, if it is one.
void planPort(ConfigurationPlan& plan, const PortConfig& before, const PortConfig& after,
              const TextCodec& codec);

/// The differences between two directories: nodes, and ports' patterns one by one.
std::vector<Change> directoryChanges(const CGroupsDB& before, const CGroupsDB& after,
                                     const TextCodec& codec);

/// The kinds whose passwords are changed.
struct PasswordKinds {
    bool ports = true;
    bool printers = true;
    bool patterns = true;
};

/// The records that get a new password: those of the selection that ask for one.
struct PasswordPlan {
    ConfigurationPlan ports;                ///< portsToChange, and all changes
    std::vector<std::uint32_t> printers;    ///< ids of nodes
    std::vector<std::string> patterns;      ///< names of ports
    std::size_t withPassword = 0;           ///< records that ask for one, changed or not
    std::size_t withoutAuthentication = 0;  ///< records of the selection that ask for none
};

/// Plans giving `password` to everything that is selected. A port's name is also that of its
/// pattern; keys of conditions are printerKeys().
PasswordPlan planPasswords(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
                           const Selector& selector, const PasswordKinds& kinds,
                           const std::string& password, const TextCodec& codec);
/// The directory's part of the plan. Records that are gone in the meantime, or no longer ask for a
/// password, are skipped.
void applyPasswords(CGroupsDB& directory, const PasswordPlan& plan, const std::string& password);

}  // namespace velmora::ctl
