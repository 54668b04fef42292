#pragma once

#include <windows.h>

#include <exception>
#include <optional>
#include <string>

#include "ui/kit/dialog_host.h"
#include "ui/kit/fonts.h"

namespace velmora {

class DataExchange;

/// A window made from a dialog resource: base of modal dialogs and property pages. The object
/// travels in the window's user data; the window's messages arrive at the handlers below, which a
/// derived class overrides.
///
/// Dialogs and their controls are Unicode windows, which hold characters that the code page lacks
/// (DataExchange::text refuses them); everything else of ours is in the code page, and the platform
/// converts.
///
/// A handler may throw. Exceptions must not cross the platform's code, so the first one is kept,
/// the dialog (or the page's whole sheet) is cancelled, and the modal call throws it again.
class DialogWindow {
  public:
    DialogWindow(const DialogWindow&) = delete;
    DialogWindow& operator=(const DialogWindow&) = delete;
    virtual ~DialogWindow() = default;

    /// Null before the window is created and after it is destroyed.
    HWND window() const noexcept { return window_; }
    HWND control(int id) const noexcept { return GetDlgItem(window_, id); }

    std::string text(int id) const;
    void setText(int id, const std::string& text) const;
    /// Checked or indeterminate.
    bool isChecked(int id) const noexcept;
    bool isEnabled(int id) const noexcept { return IsWindowEnabled(control(id)) != FALSE; }
    void enable(int id, bool enabled) const noexcept { EnableWindow(control(id), enabled); }
    /// Puts the focus into a control as the Tab key does: an edit box gets its text selected.
    void focus(int id) const noexcept;

    DialogHost& host() const noexcept { return host_; }
    /// The host's, unless useMessageBoxes has replaced them.
    MessageBoxes& messageBoxes() const noexcept { return *boxes_; }
    /// From now on messages go to `boxes`, which must outlive this object.
    void useMessageBoxes(MessageBoxes& boxes) noexcept { boxes_ = &boxes; }
    /// Shows a message over the top-level window that this window belongs to.
    void showMessage(const std::string& text, MessageIcon icon = MessageIcon::none) const;
    /// Shows the refusal's message and puts the focus into its control.
    void refuse(const Refusal& refusal) const;

  protected:
    DialogWindow(int resource, DialogHost& host)
        : template_(resource), host_(host), boxes_(&host.messageBoxes()) {}

    const DialogTemplate& dialogTemplate() const noexcept { return template_; }

    /// The controls exist, the window is not visible yet. The base moves the data into the
    /// controls; the platform then sets the focus.
    virtual void onInit();
    /// A control's notification `code` (BN_CLICKED, CBN_SELCHANGE...), or a menu command (code 0)
    /// or accelerator (code 1). True: handled. Not called while the window or its sheet is disabled
    /// by a dialog on top of it.
    virtual bool onCommand(int id, int code);
    /// Help was asked for: about `control`, or (0, or a control without help of its own) about the
    /// dialog.
    virtual void onHelp(int control);
    /// A WM_NOTIFY of a control. A value is the answer to the control, none: not handled.
    virtual std::optional<LRESULT> onNotify(NMHDR& header);
    /// Any other message. A value is the message's result, none: the platform handles it.
    virtual std::optional<LRESULT> onMessage(UINT message, WPARAM wParam, LPARAM lParam);
    /// Moves the data between members and controls, in order, with its checks.
    virtual void exchange(DataExchange& data);

    /// Runs `exchange`. False: a value was refused; the user has seen the message, and the focus is
    /// in the control.
    bool saveData();
    void showData();

    /// For the window procedures: attaches the object to its window, and passes a message on to the
    /// object.
    void attach(HWND window) noexcept;
    static INT_PTR deliver(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;

    /// Throws the exception that a handler has thrown, if any.
    void rethrow();
    /// Ends the modal call without a result, after a handler has thrown.
    virtual void abandon() noexcept = 0;

  private:
    INT_PTR dispatch(UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    INT_PTR route(UINT message, WPARAM wParam, LPARAM lParam);
    int controlOf(const HELPINFO& help) const noexcept;

    DialogTemplate template_;
    DialogHost& host_;
    MessageBoxes* boxes_;
    HWND window_ = nullptr;
    DialogFont font_;
    std::exception_ptr thrown_;
};

/// A modal dialog with the buttons OK and Cancel.
class ModalDialog : public DialogWindow {
  public:
    /// True when OK has closed the dialog. False also when it could not be shown. Throws what a
    /// handler has thrown.
    bool runModal(HWND parent);

  protected:
    using DialogWindow::DialogWindow;

    /// OK saves the data and closes the dialog when nothing was refused; Cancel closes it.
    bool onCommand(int id, int code) override;
    void abandon() noexcept override;

  private:
    static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
};

}  // namespace velmora
