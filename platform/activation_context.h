#pragma once

#include <windows.h>

namespace velmora {

/// Makes the manifest in `module`'s resources the current one of this thread, so that windows made
/// during that time use the common controls that it names (the platform's visual styles). Without
/// effect where the platform has no activation contexts or the manifest cannot be used.
class ActivationContext {
  public:
    ActivationContext(HMODULE module, int manifestResource) noexcept;
    ActivationContext(const ActivationContext&) = delete;
    ActivationContext& operator=(const ActivationContext&) = delete;
    ~ActivationContext();

    bool active() const noexcept { return cookie_ != 0; }

  private:
    HANDLE context_ = INVALID_HANDLE_VALUE;
    ULONG_PTR cookie_ = 0;
};

}  // namespace velmora
