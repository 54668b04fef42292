#pragma once

#include <windows.h>

#include <commctrl.h>

#include <cstddef>
#include <optional>
#include <set>
#include <string>

namespace velmora {

/// A list view in report style. Does not own the control.
class ReportList {
  public:
    explicit ReportList(HWND control) noexcept : control_(control) {}

    HWND control() const noexcept { return control_; }

    /// Adds extended styles (LVS_EX_...) to those that the list has.
    void addStyle(DWORD extended) const;
    /// After the last column; left aligned, `width` in pixels at 96 dots per inch.
    void addColumn(std::string title, int width) const;
    /// Announces how many rows will be added, which makes adding them faster.
    void reserve(std::size_t rows) const;
    /// After the last row; returns its index.
    int addRow(std::string text, LPARAM data) const;
    void setText(int row, int column, std::string text) const;

    /// Sets a row's check mark; the list needs the style for it.
    void check(int row) const;

    /// The first selected row, -1 if there is none.
    int selectedRow() const;
    /// None if there is no such row.
    std::optional<LPARAM> rowData(int row) const;

    /// Focus, selection and scroll position; rows are identified by their data.
    struct Sight {
        std::optional<LPARAM> focused;
        std::optional<LPARAM> top;  ///< the first visible row
        std::set<LPARAM> selected;
    };
    Sight sight() const;
    /// Restores them after a refill, as far as the rows still exist. One row always gets the focus,
    /// which Space and the arrow keys need.
    void restore(const Sight& sight) const;

  private:
    void setState(int row, UINT state) const;

    HWND control_;
};

}  // namespace velmora
