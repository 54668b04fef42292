#include "ui/help_window.h"

#include "ui/interface_host.h"
#include "ui/kit/window.h"
#include "ui/resources/resource_ids.h"
#include "ui/text_table.h"

namespace velmora {
namespace {

RECT placeOf(HWND control, HWND dialog) {
    RECT place{};
    GetWindowRect(control, &place);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
    return place;
}

/// Edit boxes need both characters to start a new line.
std::string withCarriageReturns(const std::string& text) {
    std::string lines;
    for (const char c : text) {
        if (c == '\n' && (lines.empty() || lines.back() != '\r')) lines += '\r';
        lines += c;
    }
    return lines;
}

}  // namespace

HelpWindow::HelpWindow(std::string text)
    : ModalDialog(IDD_HELP, interfaceHost()), text_(std::move(text)) {}

void HelpWindow::onInit() {
    CTextTable("Help").TranslateWindow(window());
    addHiddenLabel(control(IDC_HELP_TEXT), windowText(window()));
    setText(IDC_HELP_TEXT, withCarriageReturns(text_));
    RECT size{};
    GetWindowRect(window(), &size);
    smallest_ = {(size.right - size.left) / 2, (size.bottom - size.top) / 2};
    placeControls();
    // The dialog manager selects the whole text when the box gets the focus, which is after this.
    PostMessageA(control(IDC_HELP_TEXT), EM_SETSEL, 0, 0);
}

std::optional<LRESULT> HelpWindow::onMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_SIZE:
            placeControls();
            return 0;
        case WM_GETMINMAXINFO:
            reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {smallest_.cx, smallest_.cy};
            return 0;
        default:
            return ModalDialog::onMessage(message, wParam, lParam);
    }
}

void HelpWindow::placeControls() const {
    const HWND box = control(IDC_HELP_TEXT);
    const HWND close = control(IDCANCEL);
    const RECT text = placeOf(box, window());
    const RECT button = placeOf(close, window());
    const int margin = text.left;
    const int width = button.right - button.left;
    const int height = button.bottom - button.top;
    RECT client{};
    GetClientRect(window(), &client);
    const int top = client.bottom - margin - height;
    MoveWindow(box, margin, text.top, client.right - 2 * margin, top - margin - text.top, TRUE);
    MoveWindow(close, client.right - margin - width, top, width, height, TRUE);
}

void showHelp(HWND owner, int control, std::span<const HelpTopic> topics) {
    std::string text;
    for (const HelpTopic& topic : helpFor(control, topics)) {
        if (!text.empty()) text += "\n\n";
        text += CTextTable(topic.section).Lookup(topic.key, topic.text);
    }
    HelpWindow(std::move(text)).runModal(GetAncestor(owner, GA_ROOT));
}

}  // namespace velmora
