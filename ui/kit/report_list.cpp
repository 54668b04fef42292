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

void ReportList::check(int row) const {
    LVITEMA item{};
    item.stateMask = LVIS_STATEIMAGEMASK;
    item.state = INDEXTOSTATEIMAGEMASK(2);
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

}  // namespace velmora
