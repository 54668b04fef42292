#pragma once

#include <windows.h>

#include <commctrl.h>

#include <string>

namespace velmora {

/// A drop-down list. Does not own the control.
class ComboList {
  public:
    explicit ComboList(HWND control) noexcept : control_(control) {}

    /// After the last item, also in a list with the sorted style.
    void append(const std::string& text) const;
    /// -1 for none.
    void select(int index) const;
    int selection() const;
    /// Empty when nothing is selected.
    std::string selectedText() const;

    bool isOpen() const;
    /// Whether the closed list has room for the selected item's text.
    bool showsWholeText() const;

    /// Makes the dropped part wide enough for the widest item, with room for one average character
    /// and both edges.
    void widenToItems() const;

  private:
    HWND control_;
};

/// Shows the whole text of a closed drop-down list while the pointer is over it, if the list cuts
/// the text.
class ComboTips {
  public:
    /// For the lists of `dialog`, which passes its notifications on to answer(). The window of the
    /// tips ends with the dialog.
    void attach(HWND dialog) noexcept;
    void add(HWND list) const noexcept;

    /// Answers a tip's request for its text. False if `header` is something else.
    bool answer(NMHDR& header);
    /// To be called when the text of a list changes or the list opens.
    void hide() const noexcept;

  private:
    HWND dialog_ = nullptr;
    HWND tips_ = nullptr;
    std::string text_;
};

}  // namespace velmora
