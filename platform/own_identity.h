#pragma once

#include "platform/handle.h"

namespace velmora {

/// While it lives the calling thread acts as the process does and not as the user whom it
/// impersonates; the impersonation is restored at the end. The spooler calls a monitor in the name
/// of whoever prints or configures, who may not read what belongs to the system.
/// OpenThreadToken, SetThreadToken.
class OwnIdentity {
  public:
    OwnIdentity() noexcept;
    ~OwnIdentity();
    OwnIdentity(const OwnIdentity&) = delete;
    OwnIdentity& operator=(const OwnIdentity&) = delete;

  private:
    UniqueToken token_;  ///< empty: the thread does not impersonate
};

}  // namespace velmora
