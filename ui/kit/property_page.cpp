#include "ui/kit/property_page.h"

#include "platform/library.h"
#include "ui/kit/property_sheet.h"

namespace velmora {

void PropertyPage::onInit() {
    sheet_->pageCreated(GetParent(window()));
    DialogWindow::onInit();
}

void PropertyPage::onActivate() {
    showData();
}

bool PropertyPage::onDeactivate() {
    return saveData();
}

std::optional<LRESULT> PropertyPage::onNotify(NMHDR& header) {
    switch (header.code) {
        case PSN_SETACTIVE:
            onActivate();
            return 0;
        case PSN_KILLACTIVE:
            // Buttons and tabs that were pressed before a dialog or message box of ours opened
            // arrive while it is open.
            if (!IsWindowEnabled(GetParent(window()))) return TRUE;
            return onDeactivate() ? FALSE : TRUE;
        case PSN_HELP:
            onHelp(0);
            return 0;
        default:
            return DialogWindow::onNotify(header);
    }
}

void PropertyPage::abandon() noexcept {
    // Posted, because the sheet may be in the middle of making or changing the page.
    PostMessageA(GetParent(window()), PSM_PRESSBUTTON, PSBTN_CANCEL, 0);
}

PROPSHEETPAGEW PropertyPage::description() noexcept {
    PROPSHEETPAGEW page{};
    page.dwSize = sizeof page;
    page.dwFlags = PSP_USETITLE | PSP_HASHELP | PSP_DLGINDIRECT;
    page.hInstance = currentModule();
    page.pResource = dialogTemplate().get();
    page.pszTitle = wideTitle_.c_str();
    page.pfnDlgProc = &procedure;
    page.lParam = reinterpret_cast<LPARAM>(this);
    return page;
}

INT_PTR CALLBACK PropertyPage::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        const auto* const page = reinterpret_cast<const PROPSHEETPAGEW*>(lParam);
        reinterpret_cast<PropertyPage*>(page->lParam)->attach(window);
    }
    return deliver(window, message, wParam, lParam);
}

}  // namespace velmora
