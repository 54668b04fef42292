#pragma once

#include <windows.h>

#include <string>

namespace velmora {

/// A drop-down list. Does not own the control.
class ComboList {
  public:
    explicit ComboList(HWND control) noexcept : control_(control) {}

    /// Behind the last item, also in a list with the sorted style.
    void append(const std::string& text) const;
    /// -1: none.
    void select(int index) const;
    int selection() const;

    /// Makes the dropped part wide enough for the widest item, with room for one average character
    /// and both edges.
    void widenToItems() const;

  private:
    HWND control_;
};

}  // namespace velmora
