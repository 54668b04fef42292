#pragma once

#include <windows.h>

#include <string>

namespace velmora {

/// The whole text of a window or control, of any length.
std::string windowText(HWND window);

void setWindowText(HWND window, const std::string& text);

/// Looks at the messages of a control before the control does. Replaces the window procedure, which
/// every version of the common controls allows; the procedure is put back by detach() or the
/// destructor, or given up when the window ends.
class WindowSubclass {
  public:
    WindowSubclass() = default;
    WindowSubclass(const WindowSubclass&) = delete;
    WindowSubclass& operator=(const WindowSubclass&) = delete;
    virtual ~WindowSubclass() { detach(); }

    void attach(HWND window) noexcept;
    void detach() noexcept;
    /// Null while attached to nothing.
    HWND window() const noexcept { return window_; }

  protected:
    /// Must not throw: the caller is the platform. Pass on with original().
    virtual LRESULT onMessage(UINT message, WPARAM wParam, LPARAM lParam) noexcept = 0;
    /// What the control itself does with the message.
    LRESULT original(UINT message, WPARAM wParam, LPARAM lParam) const noexcept;

  private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam,
                                      LPARAM lParam) noexcept;

    HWND window_ = nullptr;
    WNDPROC previous_ = nullptr;
    bool unicode_ = false;
};

}  // namespace velmora
