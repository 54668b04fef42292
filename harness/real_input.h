#pragma once

#include <windows.h>

#include <functional>
#include <initializer_list>

namespace velmora::testing {

/// Keys and mouse input as from the devices: for what messages cannot imitate
/// (held Control keys, captured mice, context menus). Needs a display.
class RealInput {
  public:
    /// Brings `window` to the front, where keys go.
    explicit RealInput(HWND window);
    RealInput(const RealInput&) = delete;
    RealInput& operator=(const RealInput&) = delete;
    ~RealInput();

    /// Presses the keys in order and releases them in the opposite one.
    void keys(std::initializer_list<WORD> virtualKeys) const;
    void keyDown(WORD virtualKey) const;
    void keyUp(WORD virtualKey) const;

    // Points are in `control`'s client area.
    void moveTo(HWND control, POINT point) const;
    void buttonDown() const;
    void buttonUp() const;
    void rightClick(HWND control, POINT point) const;
    /// The same for a button whose press opens a message box, so that its release does not arrive.
    void rightClickIntoABox(HWND control, POINT point) const;
    /// Waits until `window`'s thread has taken all input sent before. A message posted to the
    /// window overtakes such input.
    static void waitUntilTaken(HWND window);
    void doubleClick(HWND control, POINT point) const;
    /// Presses the button at `from`, moves by way of the middle to `to` and stays there.
    void dragTo(HWND control, POINT from, POINT to) const;

  private:
    /// Waits until the window's thread has handled everything that has happened so far.
    void settle() const;
    /// Sends input that releases `count` keys or buttons and waits until they have arrived.
    void release(const std::function<void()>& send, unsigned count) const;

    HWND window_;
    HHOOK hook_;
    mutable DWORD moved_ = GetTickCount();  ///< when the pointer was moved last
};

}  // namespace velmora::testing
