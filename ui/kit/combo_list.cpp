#include "ui/kit/combo_list.h"

#include <algorithm>
#include <vector>

#include "platform/library.h"
#include "ui/kit/fonts.h"

namespace velmora {
namespace {

std::string itemText(HWND control, int index) {
    const LRESULT length = SendMessageA(control, CB_GETLBTEXTLEN, static_cast<WPARAM>(index), 0);
    if (length <= 0) return {};
    std::vector<char> area(static_cast<std::size_t>(length) + 1);
    SendMessageA(control, CB_GETLBTEXT, static_cast<WPARAM>(index),
                 reinterpret_cast<LPARAM>(area.data()));
    return area.data();
}

}  // namespace

void ComboList::append(const std::string& text) const {
    // CB_ADDSTRING would sort; an explicit position does not.
    const LRESULT count = SendMessageA(control_, CB_GETCOUNT, 0, 0);
    SendMessageA(control_, CB_INSERTSTRING, static_cast<WPARAM>(count),
                 reinterpret_cast<LPARAM>(text.c_str()));
}

void ComboList::select(int index) const {
    SendMessageA(control_, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
}

int ComboList::selection() const {
    return static_cast<int>(SendMessageA(control_, CB_GETCURSEL, 0, 0));
}

std::string ComboList::selectedText() const {
    const int index = selection();
    return index < 0 ? std::string() : itemText(control_, index);
}

bool ComboList::isOpen() const {
    return SendMessageA(control_, CB_GETDROPPEDSTATE, 0, 0) != FALSE;
}

bool ComboList::showsWholeText() const {
    COMBOBOXINFO info{};
    info.cbSize = sizeof info;
    if (!GetComboBoxInfo(control_, &info)) return true;
    // The text begins one pixel after the edge of its area.
    const int room = info.rcItem.right - info.rcItem.left - 2;
    return TextMeasure(control_).width(selectedText()) <= room;
}

void ComboList::widenToItems() const {
    const TextMeasure measure(control_);
    const int count = static_cast<int>(SendMessageA(control_, CB_GETCOUNT, 0, 0));
    int widest = 0;
    for (int i = 0; i < count; ++i)
        widest = std::max(widest, measure.width(itemText(control_, i)));
    const int edges = 2 * GetSystemMetrics(SM_CXEDGE);
    SendMessageA(control_, CB_SETDROPPEDWIDTH,
                 static_cast<WPARAM>(widest + measure.averageCharWidth() + edges), 0);
}

void ComboTips::attach(HWND dialog) noexcept {
    dialog_ = dialog;
    tips_ =
        CreateWindowExA(WS_EX_TOPMOST, TOOLTIPS_CLASSA, nullptr,
                        WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP, CW_USEDEFAULT, CW_USEDEFAULT,
                        CW_USEDEFAULT, CW_USEDEFAULT, dialog, nullptr, currentModule(), nullptr);
}

void ComboTips::add(HWND list) const noexcept {
    TTTOOLINFOA tool{};
    tool.cbSize = TTTOOLINFOA_V1_SIZE;
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = dialog_;
    tool.uId = reinterpret_cast<UINT_PTR>(list);
    tool.lpszText = LPSTR_TEXTCALLBACKA;
    SendMessageA(tips_, TTM_ADDTOOLA, 0, reinterpret_cast<LPARAM>(&tool));
}

bool ComboTips::answer(NMHDR& header) {
    if (header.hwndFrom != tips_ || header.code != static_cast<UINT>(TTN_GETDISPINFOA))
        return false;
    const ComboList list(reinterpret_cast<HWND>(header.idFrom));
    text_ = list.isOpen() || list.showsWholeText() ? std::string() : list.selectedText();
    // A tip without text is not shown.
    reinterpret_cast<NMTTDISPINFOA&>(header).lpszText = text_.data();
    return true;
}

void ComboTips::hide() const noexcept {
    SendMessageA(tips_, TTM_POP, 0, 0);
}

}  // namespace velmora
