#pragma once

#include <windows.h>

#include <prsht.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "harness/waiting.h"
#include "ui/kit/message_box.h"

namespace velmora::testing {

// Uses dialogs as a person would, by control id, from a second thread of the process that shows
// them. Everything polls, for at most kPatience, and then fails the test.

/// A dialog or a page of a sheet.
class DialogDriver {
  public:
    explicit DialogDriver(HWND window) : window_(window) {}

    HWND window() const { return window_; }
    explicit operator bool() const { return window_ != nullptr; }
    /// The control; a missing one fails the test.
    HWND control(int id) const;

    std::string title() const;
    std::string text(int id) const;
    bool enabled(int id) const;
    bool checked(int id) const;
    bool hasFocus(int id) const;

    void type(int id, const std::string& text) const;
    /// Presses a button and returns when its handler has run. The control must be enabled.
    void click(int id) const;
    /// Presses a button that opens another window or closes this one.
    void clickWithoutWaiting(int id) const;
    /// Chooses an item of a drop-down list.
    void choose(int id, int index) const;
    void setFocus(int id) const;
    /// Sends a key to the control.
    void press(int id, WPARAM virtualKey) const;

    // List views.
    int rows(int id) const;
    std::string cell(int id, int row, int column) const;
    /// Of a left-aligned column; any other alignment fails the test.
    std::string heading(int id, int column) const;
    bool rowChecked(int id, int row) const;
    void checkRow(int id, int row, bool check) const;

    /// Returns when the window's thread has handled all messages posted to it, those that they have
    /// posted in turn, and the window system's events. For use before a check that something has
    /// not happened, and before real input.
    void settle() const;

    bool isOpen() const { return IsWindow(window_) != FALSE; }
    void waitUntilClosed() const;

  private:
    HWND window_;
};

/// A property sheet.
class SheetDriver {
  public:
    explicit SheetDriver(HWND window) : sheet_(window) {}

    const DialogDriver& sheet() const { return sheet_; }
    /// The page that is visible.
    DialogDriver page() const;
    int pageCount() const;
    std::string tabText(int index) const;
    /// Clicks on a tab; its page is shown unless the current page refuses to be left.
    void chooseTab(int index) const;
    /// Clicks on a tab and waits until its page shows.
    DialogDriver openPage(int index) const;

    void ok() const { PostMessageA(sheet_.window(), PSM_PRESSBUTTON, PSBTN_OK, 0); }
    void cancel() const { PostMessageA(sheet_.window(), PSM_PRESSBUTTON, PSBTN_CANCEL, 0); }
    void help() const { PostMessageA(sheet_.window(), PSM_PRESSBUTTON, PSBTN_HELP, 0); }
    void waitUntilClosed() const { sheet_.waitUntilClosed(); }

  private:
    DialogDriver sheet_;
};

/// The visible top-level dialog of this process whose title is `title`, once it is there.
DialogDriver waitForDialog(const std::string& title);
/// The same for the dialog that `thread` shows.
DialogDriver waitForDialogOf(DWORD thread, const std::string& title);

/// Runs `modal`, which shows dialogs, while `driver` runs on a second thread. When the driver ends
/// and a dialog is still open, the dialog is cancelled and the test fails.
void drive(const std::function<void()>& modal, const std::function<void()>& driver);

/// Records messages instead of showing them.
class RecordedBoxes : public MessageBoxes {
  public:
    struct Message {
        std::string text;
        MessageIcon icon = MessageIcon::none;

        bool operator==(const Message&) const = default;
    };

    void show(HWND owner, const std::string& text, MessageIcon icon) override;

    std::size_t count() const;
    HWND lastOwner() const;
    /// The messages since the last call; waits for the first one.
    std::vector<Message> take();

  private:
    mutable std::mutex mutex_;
    std::vector<Message> messages_;
    HWND owner_ = nullptr;
};

void PrintTo(const RecordedBoxes::Message& message, std::ostream* out);

}  // namespace velmora::testing
