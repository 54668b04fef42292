#include "ui/kit/property_sheet.h"

#include <commctrl.h>

#include "platform/activation_context.h"
#include "platform/library.h"
#include "ui/kit/property_page.h"

namespace velmora {

void SheetWindow::addPage(PropertyPage& page) {
    page.sheet_ = this;
    pages_.push_back(&page);
}

bool SheetWindow::runModal() {
    const ActivationContext look(currentModule(), manifest_);
    const INITCOMMONCONTROLSEX classes{sizeof classes, ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES};
    InitCommonControlsEx(&classes);

    std::vector<PROPSHEETPAGEW> descriptions;
    for (PropertyPage* page : pages_)
        descriptions.push_back(page->description());

    const std::wstring caption = toWide(caption_);
    PROPSHEETHEADERW sheet{};
    sheet.dwSize = sizeof sheet;
    sheet.dwFlags = PSH_PROPSHEETPAGE | PSH_NOAPPLYNOW | PSH_HASHELP;
    sheet.hwndParent = parent_;
    sheet.hInstance = currentModule();
    sheet.pszCaption = caption.c_str();
    sheet.nPages = static_cast<UINT>(descriptions.size());
    sheet.ppsp = descriptions.data();
    const INT_PTR result = PropertySheetW(&sheet);

    window_ = nullptr;
    for (PropertyPage* page : pages_)
        page->rethrow();
    return result > 0;
}

void SheetWindow::pageCreated(HWND sheet) {
    if (window_ != nullptr) return;
    window_ = sheet;
    onInit();
}

}  // namespace velmora
