#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace velmora {

class PropertyPage;

/// A modal property sheet with OK, Cancel and Help and no Apply button.
class SheetWindow {
  public:
    SheetWindow(const SheetWindow&) = delete;
    SheetWindow& operator=(const SheetWindow&) = delete;
    virtual ~SheetWindow() = default;

    /// Null before the sheet is created and after it is destroyed.
    HWND window() const noexcept { return window_; }

    /// Shows the sheet on the calling thread, in the platform's current visual style where the host
    /// has it. True when OK has closed it; false also when it could not be shown. Throws what a
    /// handler of a page has thrown.
    bool runModal();

  protected:
    /// `parent` may be null. `manifest`: the resource that selects the current visual style.
    SheetWindow(std::string caption, HWND parent, int manifest)
        : caption_(std::move(caption)), parent_(parent), manifest_(manifest) {}

    /// Pages come in the order of the calls and must outlive the sheet's run.
    void addPage(PropertyPage& page);

    /// The sheet's window exists and is not visible yet.
    virtual void onInit() {}

  private:
    friend class PropertyPage;

    /// The platform's callback at a sheet's start cannot carry an object, so the sheet learns of
    /// its window from its first page.
    void pageCreated(HWND sheet);

    std::string caption_;
    HWND parent_;
    int manifest_;
    HWND window_ = nullptr;
    std::vector<PropertyPage*> pages_;
};

}  // namespace velmora
