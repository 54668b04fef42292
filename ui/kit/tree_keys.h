#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>

#include "ui/kit/window.h"

namespace velmora {

/// Keys of a tree view that a dialog manager or the tree itself would take otherwise: Enter and the
/// accelerators become commands of the tree's parent, and a double click on an item does too. While
/// a label is edited the keys go to the editor, which is another window.
class TreeKeys : public WindowSubclass {
  public:
    /// `openCommand`: what Enter and a double click post. The accelerator table must outlive this
    /// object (one from a resource lives as long as its module).
    TreeKeys(HACCEL accelerators, int openCommand) noexcept
        : accelerators_(accelerators), openCommand_(openCommand) {}

    /// While true, Escape comes to the tree's parent as WM_KEYDOWN instead of closing the dialog.
    void wantEscape(bool wanted) noexcept { wantsEscape_ = wanted; }

  protected:
    LRESULT onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept override;

  private:
    bool wants(const MSG* key) const noexcept;
    bool translate(UINT message, WPARAM wParam, LPARAM lParam) const noexcept;
    bool hitsItem(LPARAM point) const noexcept;

    HACCEL accelerators_;
    int openCommand_;
    bool wantsEscape_ = false;
};

/// The box in which a tree's label is edited, taken over while it is open: all keys belong to it,
/// and texts longer than a tree view's own 259 characters pass. It has no texts of its own to
/// translate.
class CTreeEdit : public WindowSubclass {
  public:
    /// Takes over `editBox` and shows `text`, selected. At most `longest` bytes can be typed.
    void open(HWND editBox, const std::string& text, std::size_t longest);
    /// The whole text that the box holds; none if the code page lacks one of its characters. A text
    /// that was not edited is the one given to open().
    std::optional<std::string> text() const;

  protected:
    LRESULT onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept override;

  private:
    std::string opened_;
};

}  // namespace velmora
