#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

namespace velmora {

/// The whole text of a window or control, of any length.
std::string windowText(HWND window);

/// The same in UTF-16: a Unicode control can hold characters that the code page lacks.
std::wstring wideWindowText(HWND window);

void setWindowText(HWND window, const std::string& text);

/// Limits what can be typed into an edit box to `longest` bytes in the code page, whatever the
/// characters are.
void limitBytes(HWND edit, std::size_t longest);

/// The pixels that a length takes on the screen, given its pixels at 96 dots per inch. What a
/// dialog resource places in dialog units is scaled by the platform; everything else is not.
int scaledPixels(int at96);

/// Gives a control without a label of its own a name for screen readers, which take the text of the
/// static control directly before it. The label has no size. To be called after the dialog's texts
/// have been translated; "&" in `name` marks a mnemonic and is left out.
void addHiddenLabel(HWND control, std::string name);

/// Receives the messages of a control before the control does. Replaces the window procedure, which
/// every version of the common controls allows; detach() or the destructor restores the procedure,
/// unless the window has been destroyed.
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

/// Suspends drawing of a window during its lifetime. Pauses of one window may overlap: the last one
/// to end redraws the window.
class RedrawPause {
  public:
    explicit RedrawPause(HWND window) noexcept;
    RedrawPause(const RedrawPause&) = delete;
    RedrawPause& operator=(const RedrawPause&) = delete;
    ~RedrawPause();

  private:
    HWND window_;
};

}  // namespace velmora
