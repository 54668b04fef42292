#pragma once

#include <windows.h>

#include <string>

#include "ui/kit/window_subclass.h"

namespace velmora {

/// The box in which a tree's label is edited, taken over while it is open: all keys belong to it,
/// and texts longer than a tree view's own 259 characters pass. It has no texts of its own to
/// translate.
class CTreeEdit : public WindowSubclass {
  public:
    /// The directory's store reads names of up to this many bytes.
    static constexpr std::size_t kLongestName = 1023;

    /// Takes `editBox` over and shows `text`, selected.
    void open(HWND editBox, const std::string& text);
    /// The whole text that the box holds.
    std::string text() const;

  protected:
    LRESULT onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept override;
};

}  // namespace velmora
