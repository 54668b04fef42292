#pragma once

#include <windows.h>

#include <initializer_list>

namespace velmora::testing {

/// Keys and mouse as the platform gets them from the devices: for what messages cannot imitate
/// (held Control keys, captured mice, context menus). Needs a display.
class RealInput {
  public:
    /// Brings `window` to the front, where keys go.
    explicit RealInput(HWND window);

    /// Presses the keys in order and releases them in the opposite one.
    void keys(std::initializer_list<WORD> virtualKeys) const;
    void keyDown(WORD virtualKey) const;
    void keyUp(WORD virtualKey) const;

    // Points are in `control`'s client area.
    void moveTo(HWND control, POINT point) const;
    void buttonDown() const;
    void buttonUp() const;
    void click(HWND control, POINT point) const;
    void rightClick(HWND control, POINT point) const;
    void doubleClick(HWND control, POINT point) const;
    /// Presses the button at `from`, moves in steps to `to` and stays there.
    void dragTo(HWND control, POINT from, POINT to) const;
};

}  // namespace velmora::testing
