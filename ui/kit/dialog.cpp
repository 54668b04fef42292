#include "ui/kit/dialog.h"

#include <utility>

#include "platform/library.h"
#include "ui/kit/data_exchange.h"
#include "ui/kit/window.h"

namespace velmora {
namespace {

/// How a dialog procedure returns a message's own result.
INT_PTR answer(HWND window, std::optional<LRESULT> result) noexcept {
    if (!result) return FALSE;
    SetWindowLongPtrA(window, DWLP_MSGRESULT, static_cast<LONG_PTR>(*result));
    return TRUE;
}

}  // namespace

std::string DialogWindow::text(int id) const {
    return windowText(control(id));
}

void DialogWindow::setText(int id, const std::string& text) const {
    setWindowText(control(id), text);
}

bool DialogWindow::isChecked(int id) const noexcept {
    return IsDlgButtonChecked(window_, id) != BST_UNCHECKED;
}

void DialogWindow::focus(int id) const noexcept {
    SendMessageA(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(control(id)), TRUE);
}

void DialogWindow::showMessage(const std::string& text, MessageIcon icon) const {
    boxes_->show(window_ == nullptr ? nullptr : GetAncestor(window_, GA_ROOT), text, icon);
}

void DialogWindow::refuse(const Refusal& refusal) const {
    showMessage(host_.message(refusal.message), refusal.icon);
    focus(refusal.control);
}

void DialogWindow::onInit() {
    showData();
}

bool DialogWindow::onCommand(int, int) {
    return false;
}

void DialogWindow::onHelp(int) {}

std::optional<LRESULT> DialogWindow::onNotify(NMHDR&) {
    return std::nullopt;
}

std::optional<LRESULT> DialogWindow::onMessage(UINT, WPARAM, LPARAM) {
    return std::nullopt;
}

void DialogWindow::exchange(DataExchange&) {}

bool DialogWindow::saveData() {
    DataExchange data(*this, DataExchange::Direction::fromControls);
    exchange(data);
    return !data.refused();
}

void DialogWindow::showData() {
    DataExchange data(*this, DataExchange::Direction::toControls);
    exchange(data);
}

void DialogWindow::attach(HWND window) noexcept {
    window_ = window;
    SetWindowLongPtrA(window, DWLP_USER, reinterpret_cast<LONG_PTR>(this));
}

INT_PTR DialogWindow::deliver(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    // Controls ask while they are being made, before the object is known. Our handlers read the
    // ANSI notifications, whatever else the control could send.
    if (message == WM_NOTIFYFORMAT && lParam == NF_QUERY) return answer(window, NFR_ANSI);
    auto* const self = reinterpret_cast<DialogWindow*>(GetWindowLongPtrA(window, DWLP_USER));
    return self == nullptr ? FALSE : self->dispatch(message, wParam, lParam);
}

INT_PTR DialogWindow::dispatch(UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_NCDESTROY) {
        window_ = nullptr;
        return FALSE;
    }
    // After an exception the window only waits for its end; handlers must not run any more.
    if (thrown_) return FALSE;
    try {
        return route(message, wParam, lParam);
    } catch (...) {
        thrown_ = std::current_exception();
        abandon();
        return FALSE;
    }
}

INT_PTR DialogWindow::route(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG:
            font_.adapt(window_);
            onInit();
            return TRUE;
        case WM_COMMAND:
            // A command that was posted before a dialog or message box of ours opened arrives while
            // that one is open, in the middle of the command that waits for it.
            if (!IsWindowEnabled(GetAncestor(window_, GA_ROOT))) return FALSE;
            return onCommand(LOWORD(wParam), HIWORD(wParam));
        case WM_HELP:
            // A message box on top of the dialog passes its F1 on.
            if (IsWindowEnabled(GetAncestor(window_, GA_ROOT)))
                onHelp(controlOf(*reinterpret_cast<const HELPINFO*>(lParam)));
            return TRUE;
        case WM_NOTIFY:
            return answer(window_, onNotify(*reinterpret_cast<NMHDR*>(lParam)));
        default:
            return answer(window_, onMessage(message, wParam, lParam));
    }
}

int DialogWindow::controlOf(const HELPINFO& help) const noexcept {
    if (help.iContextType != HELPINFO_WINDOW) return 0;
    // The editor of a tree's label is a child of the tree.
    HWND control = static_cast<HWND>(help.hItemHandle);
    while (control != nullptr && control != window_ && GetParent(control) != window_)
        control = GetParent(control);
    return control == nullptr || control == window_ ? 0 : GetDlgCtrlID(control);
}

void DialogWindow::rethrow() {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

bool ModalDialog::runModal(HWND parent) {
    const INT_PTR result =
        DialogBoxIndirectParamW(currentModule(), dialogTemplate().get(), parent, &procedure,
                                reinterpret_cast<LPARAM>(static_cast<DialogWindow*>(this)));
    rethrow();
    return result == IDOK;
}

bool ModalDialog::onCommand(int id, int code) {
    switch (id) {
        case IDOK:
            if (saveData()) EndDialog(window(), IDOK);
            return true;
        case IDCANCEL:
            EndDialog(window(), IDCANCEL);
            return true;
        default:
            return DialogWindow::onCommand(id, code);
    }
}

void ModalDialog::abandon() noexcept {
    EndDialog(window(), IDCANCEL);
}

INT_PTR CALLBACK ModalDialog::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG)
        static_cast<ModalDialog*>(reinterpret_cast<DialogWindow*>(lParam))->attach(window);
    return deliver(window, message, wParam, lParam);
}

}  // namespace velmora
