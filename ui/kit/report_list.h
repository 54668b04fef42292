#pragma once

#include <windows.h>

#include <commctrl.h>

#include <optional>
#include <string>

namespace velmora {

/// A list view in report style. Does not own the control.
class ReportList {
  public:
    explicit ReportList(HWND control) noexcept : control_(control) {}

    /// Adds extended styles (LVS_EX_...) to those that the list has.
    void addStyle(DWORD extended) const;
    /// Behind the last column; left aligned, `width` in pixels at 96 dots per inch.
    void addColumn(std::string title, int width) const;
    /// Behind the last row; returns its index.
    int addRow(std::string text, LPARAM data) const;
    void setText(int row, int column, std::string text) const;

    /// Sets a row's check mark; the list needs the style for it.
    void check(int row) const;

    /// The first selected row, -1 when there is none.
    int selectedRow() const;
    /// None when there is no such row.
    std::optional<LPARAM> rowData(int row) const;

  private:
    HWND control_;
};

}  // namespace velmora
