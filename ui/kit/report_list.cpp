#include "ui/kit/report_list.h"

#include "ui/kit/window.h"

namespace velmora {

void ReportList::addStyle(DWORD extended) const {
    const LRESULT present = SendMessageA(control_, LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0);
    SendMessageA(control_, LVM_SETEXTENDEDLISTVIEWSTYLE, 0,
                 present | static_cast<LPARAM>(extended));
}

void ReportList::addColumn(std::string title, int width) const {
    const auto header = reinterpret_cast<HWND>(SendMessageA(control_, LVM_GETHEADER, 0, 0));
    const LRESULT count = SendMessageA(header, HDM_GETITEMCOUNT, 0, 0);
    LVCOLUMNA column{};
    column.mask = LVCF_FMT | LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    column.fmt = LVCFMT_LEFT;
    column.cx = scaledPixels(width);
    column.pszText = title.data();
    column.iSubItem = static_cast<int>(count);
    SendMessageA(control_, LVM_INSERTCOLUMNA, static_cast<WPARAM>(count),
                 reinterpret_cast<LPARAM>(&column));
}

int ReportList::addRow(std::string text, LPARAM data) const {
    LVITEMA item{};
    item.mask = LVIF_TEXT | LVIF_PARAM;
    item.iItem = static_cast<int>(SendMessageA(control_, LVM_GETITEMCOUNT, 0, 0));
    item.pszText = text.data();
    item.lParam = data;
    return static_cast<int>(
        SendMessageA(control_, LVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&item)));
}

void ReportList::setText(int row, int column, std::string text) const {
    LVITEMA item{};
    item.iSubItem = column;
    item.pszText = text.data();
    SendMessageA(control_, LVM_SETITEMTEXTA, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
}

void ReportList::reserve(std::size_t rows) const {
    SendMessageA(control_, LVM_SETITEMCOUNT, rows, 0);
}

void ReportList::check(int row) const {
    LVITEMA item{};
    item.stateMask = LVIS_STATEIMAGEMASK;
    item.state = INDEXTOSTATEIMAGEMASK(2);
    SendMessageA(control_, LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
}

void ReportList::setState(int row, UINT state) const {
    LVITEMA item{};
    item.stateMask = item.state = state;
    SendMessageA(control_, LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
}

int ReportList::selectedRow() const {
    return static_cast<int>(
        SendMessageA(control_, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
}

std::optional<LPARAM> ReportList::rowData(int row) const {
    LVITEMA item{};
    item.mask = LVIF_PARAM;
    item.iItem = row;
    if (!SendMessageA(control_, LVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&item)))
        return std::nullopt;
    return item.lParam;
}

ReportList::Sight ReportList::sight() const {
    const auto next = [this](int after, LPARAM flags) {
        return static_cast<int>(
            SendMessageA(control_, LVM_GETNEXTITEM, static_cast<WPARAM>(after), flags));
    };
    Sight sight;
    sight.focused = rowData(next(-1, LVNI_FOCUSED));
    sight.top = rowData(static_cast<int>(SendMessageA(control_, LVM_GETTOPINDEX, 0, 0)));
    for (int row = next(-1, LVNI_SELECTED); row >= 0; row = next(row, LVNI_SELECTED))
        if (const auto data = rowData(row)) sight.selected.insert(*data);
    return sight;
}

void ReportList::restore(const Sight& sight) const {
    const int rows = static_cast<int>(SendMessageA(control_, LVM_GETITEMCOUNT, 0, 0));
    int focused = 0;
    int top = 0;
    for (int row = 0; row < rows; ++row) {
        const auto data = rowData(row);
        if (!data) continue;
        if (data == sight.focused) focused = row;
        if (data == sight.top) top = row;
        if (sight.selected.contains(*data)) setState(row, LVIS_SELECTED);
    }
    if (rows == 0) return;
    setState(focused, LVIS_FOCUSED);
    // The last row first, so that the former top row is at the top again.
    SendMessageA(control_, LVM_ENSUREVISIBLE, static_cast<WPARAM>(rows - 1), FALSE);
    SendMessageA(control_, LVM_ENSUREVISIBLE, static_cast<WPARAM>(top), FALSE);
}

}  // namespace velmora
