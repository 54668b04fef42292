#pragma once

#include <string>
#include <vector>

#include "harness/winspool/stand_in.h"

namespace velmora::testing {

/// The spooler of a test declared with WINSPOOL_STAND_IN: once the first of these objects exists,
/// loading "WinSpool.drv" gives our stand-in. Each object starts with no calls and no failures.
class FakeSpooler {
  public:
    /// Throws std::runtime_error when the library does not load.
    FakeSpooler();

    SpoolerStandIn* operator->() const noexcept { return standIn_; }
    /// The calls since this object was made, or since the last call of this function.
    std::vector<std::string> takeCalls();

  private:
    SpoolerStandIn* standIn_ = nullptr;
};

}  // namespace velmora::testing
