#include "ui/kit/tree_keys.h"

#include <windowsx.h>

#include "platform/text.h"
#include "ui/kit/tree_view.h"

namespace velmora {
namespace {

bool isControlCharacter(WPARAM character) noexcept {
    return character < ' ';
}

}  // namespace

bool TreeKeys::wants(const MSG* key) const noexcept {
    return key != nullptr &&
           (key->wParam == VK_RETURN || (wantsEscape_ && key->wParam == VK_ESCAPE));
}

bool TreeKeys::translate(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
    MSG key{};
    key.hwnd = window();
    key.message = message;
    key.wParam = wParam;
    key.lParam = lParam;
    // A modal sheet runs the platform's message loop, which does not handle accelerators.
    return TranslateAcceleratorA(GetParent(window()), accelerators_, &key) != 0;
}

bool TreeKeys::hitsItem(LPARAM point) const noexcept {
    return TreeView(window()).itemAt({GET_X_LPARAM(point), GET_Y_LPARAM(point)}) != nullptr;
}

LRESULT TreeKeys::onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    switch (message) {
        case WM_GETDLGCODE: {
            const LRESULT code = original(message, wParam, lParam);
            return wants(reinterpret_cast<const MSG*>(lParam)) ? code | DLGC_WANTMESSAGE : code;
        }
        case WM_KEYDOWN:
            if (wParam == VK_RETURN) {
                PostMessageA(GetParent(window()), WM_COMMAND, static_cast<WPARAM>(openCommand_), 0);
                return 0;
            }
            if (wParam == VK_ESCAPE && wantsEscape_)
                return SendMessageA(GetParent(window()), message, wParam, lParam);
            if (translate(message, wParam, lParam)) return 0;
            break;
        case WM_CHAR:
            // The remaining messages of Enter, Escape and the accelerators: the tree would beep, or
            // search an item that begins with it.
            if (isControlCharacter(wParam)) return 0;
            break;
        case WM_LBUTTONDBLCLK: {
            const bool onItem = hitsItem(lParam);
            const LRESULT result = original(message, wParam, lParam);
            if (onItem)
                PostMessageA(GetParent(window()), WM_COMMAND, static_cast<WPARAM>(openCommand_), 0);
            return result;
        }
        default:
            break;
    }
    return original(message, wParam, lParam);
}

void CTreeEdit::open(HWND editBox, const std::string& text, std::size_t longest) {
    attach(editBox);
    opened_ = text;
    limitBytes(editBox, longest);
    // The tree fills the box through a buffer of its own size.
    if (windowText(editBox) != text) setWindowText(editBox, text);
    SendMessageA(editBox, EM_SETSEL, 0, -1);
}

std::optional<std::string> CTreeEdit::text() const {
    const std::wstring typed = wideWindowText(window());
    return typed == toWide(opened_) ? opened_ : toAnsiExactly(typed);
}

LRESULT CTreeEdit::onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    // Enter ends the edit and Escape cancels it; the dialog must not take them for OK and Cancel.
    if (message == WM_GETDLGCODE) return original(message, wParam, lParam) | DLGC_WANTALLKEYS;
    return original(message, wParam, lParam);
}

}  // namespace velmora
