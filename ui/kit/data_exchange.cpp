#include "ui/kit/data_exchange.h"

#include <windows.h>

#include "platform/text.h"
#include "ui/kit/dialog.h"
#include "ui/kit/number_text.h"
#include "ui/kit/window.h"

namespace velmora {
namespace {

bool isRadioButton(HWND control) {
    return (SendMessageA(control, WM_GETDLGCODE, 0, 0) & DLGC_RADIOBUTTON) != 0;
}

void keepInTabOrder(HWND control) {
    SetWindowLongPtrA(control, GWL_STYLE, GetWindowLongPtrA(control, GWL_STYLE) | WS_TABSTOP);
}

/// The next control after `control` in the tab order that still belongs to its group, or null.
HWND nextOfGroup(HWND control) {
    const HWND next = GetWindow(control, GW_HWNDNEXT);
    if (next == nullptr || (GetWindowLongPtrA(next, GWL_STYLE) & WS_GROUP) != 0) return nullptr;
    return next;
}

}  // namespace

void DataExchange::text(int id, std::string& value) {
    if (loading()) {
        dialog_.setText(id, value);
        return;
    }
    if (refused_) return;
    const std::wstring typed = wideWindowText(dialog_.control(id));
    // Bytes that the code page lacks would change in a text that the user has not edited.
    if (typed == toWide(value)) return;
    if (const auto text = toAnsiExactly(typed))
        value = *text;
    else if (dialog_.isEnabled(id))
        refuseText(id, dialog_.host().outsideCodePage());
}

void DataExchange::integer(int id, int& value, int low, int high) {
    if (loading()) {
        dialog_.setText(id, std::to_string(value));
        return;
    }
    if (refused_) return;
    const auto number = parseNumber(dialog_.text(id));
    if (!number)
        refuseText(id, dialog_.host().notANumber());
    else if (*number < low || *number > high)
        refuseText(id, dialog_.host().outsideBounds(low, high));
    else
        value = static_cast<int>(*number);
}

void DataExchange::check(int id, int& value) {
    const HWND control = dialog_.control(id);
    if (loading())
        SendMessageA(control, BM_SETCHECK, static_cast<WPARAM>(value), 0);
    else if (!refused_)
        value = static_cast<int>(SendMessageA(control, BM_GETCHECK, 0, 0));
}

void DataExchange::radio(int first, int& index) {
    if (refused_) return;
    if (!loading()) index = -1;
    int position = 0;
    for (HWND control = dialog_.control(first); control != nullptr;
         control = nextOfGroup(control)) {
        if (!isRadioButton(control)) continue;
        if (loading())
            SendMessageA(control, BM_SETCHECK, position == index ? BST_CHECKED : BST_UNCHECKED, 0);
        else if (SendMessageA(control, BM_GETCHECK, 0, 0) == BST_CHECKED)
            index = position;
        ++position;
    }
    // A button that is not checked leaves the tab order. One of the group must stay in it, or the
    // keyboard cannot reach the group.
    if (loading() && (index < 0 || index >= position)) keepInTabOrder(dialog_.control(first));
}

void DataExchange::refuse(const Refusal& refusal) {
    refused_ = true;
    dialog_.refuse(refusal);
}

void DataExchange::refuseText(int id, const std::string& message) {
    refused_ = true;
    dialog_.showMessage(message);
    dialog_.focus(id);
}

}  // namespace velmora
