#pragma once

#include <windows.h>

#include <prsht.h>

#include <string>

#include "platform/text.h"
#include "ui/kit/dialog.h"

namespace velmora {

class SheetWindow;

/// A page of a property sheet. Its window is made when the page is first shown and lives until the
/// sheet ends; a page that the user never visits has none. So the data stay in the object: filled
/// before the sheet runs, read after it, never taken from the controls then.
class PropertyPage : public DialogWindow {
  public:
    const std::string& title() const noexcept { return title_; }

  protected:
    /// `title`: the text of the tab, already translated.
    PropertyPage(int resource, DialogHost& host, std::string title)
        : DialogWindow(resource, host), title_(std::move(title)), wideTitle_(toWide(title_)) {}

    /// The page comes to the front: the first time after onInit. The base moves the data into the
    /// controls.
    virtual void onActivate();
    /// Another tab or OK was chosen; false keeps the page. The base saves the data.
    virtual bool onDeactivate();

    /// As DialogWindow::onInit; an override calls this first.
    void onInit() override;
    std::optional<LRESULT> onNotify(NMHDR& header) override;
    void abandon() noexcept override;

  private:
    friend class SheetWindow;

    PROPSHEETPAGEW description() noexcept;
    static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    std::string title_;
    std::wstring wideTitle_;
    SheetWindow* sheet_ = nullptr;
};

}  // namespace velmora
