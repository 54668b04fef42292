#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/registry.h"
#include "port/policy.h"

namespace velmora::ctl {

/// The policy of a computer in its registry. `server` as "\\NAME", or empty for this one. Every
/// failure is a CommandError.
class PolicyKey {
  public:
    explicit PolicyKey(const std::string& server);

    bool exists() const;
    /// The value; empty if it is missing or not valid.
    std::optional<std::uint32_t> read(const PolicyValue& value) const;
    /// Whether there is a value that is not valid and counts as missing.
    bool isInvalid(const PolicyValue& value) const;
    void write(const PolicyValue& value, std::uint32_t number);
    /// Removes the key, if there is one.
    void remove();

  private:
    UniqueRegKey open() const;

    std::string server_;
    std::string path_;
    UniqueRegKey root_;  ///< another computer's; empty for this one
};

/// Whether the monitor of that computer keeps a record of deliveries; true if it cannot be asked.
bool recordIsOn(const std::string& server);

}  // namespace velmora::ctl
