#include "ui/kit/combo_list.h"

#include <algorithm>
#include <vector>

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

}  // namespace velmora
