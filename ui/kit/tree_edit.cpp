#include "ui/kit/tree_edit.h"

#include "ui/kit/window_text.h"

namespace velmora {

void CTreeEdit::open(HWND editBox, const std::string& text) {
    attach(editBox);
    SendMessageA(editBox, EM_LIMITTEXT, kLongestName, 0);
    // The tree fills the box through an area of its own size.
    if (windowText(editBox) != text) setWindowText(editBox, text);
    SendMessageA(editBox, EM_SETSEL, 0, -1);
}

std::string CTreeEdit::text() const {
    return windowText(window());
}

LRESULT CTreeEdit::onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    // Enter ends the edit and Escape cancels it; the dialog must not take them for OK and Cancel.
    if (message == WM_GETDLGCODE) return original(message, wParam, lParam) | DLGC_WANTALLKEYS;
    return original(message, wParam, lParam);
}

}  // namespace velmora
