#include "tests/support/real_input.h"

#include <gtest/gtest.h>

#include <vector>

namespace velmora::testing {
namespace {

/// Time for the window system to hand the input to the program; what follows from it is waited for
/// by looking.
constexpr DWORD kSettle = 30;

void send(const INPUT& input) {
    INPUT copy = input;
    EXPECT_EQ(SendInput(1, &copy, sizeof copy), 1u);
    Sleep(kSettle);
}

void sendKey(WORD virtualKey, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = virtualKey;
    input.ki.wScan = static_cast<WORD>(MapVirtualKeyA(virtualKey, MAPVK_VK_TO_VSC));
    input.ki.dwFlags = flags;
    send(input);
}

void sendMouse(DWORD flags) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = flags;
    send(input);
}

}  // namespace

RealInput::RealInput(HWND window) {
    SetForegroundWindow(window);
}

void RealInput::keyDown(WORD virtualKey) const {
    sendKey(virtualKey, 0);
}

void RealInput::keyUp(WORD virtualKey) const {
    sendKey(virtualKey, KEYEVENTF_KEYUP);
}

void RealInput::keys(std::initializer_list<WORD> virtualKeys) const {
    const std::vector<WORD> all(virtualKeys);
    for (const WORD key : all)
        keyDown(key);
    for (auto key = all.rbegin(); key != all.rend(); ++key)
        keyUp(*key);
}

void RealInput::moveTo(HWND control, POINT point) const {
    ClientToScreen(control, &point);
    SetCursorPos(point.x, point.y);
    // Setting the position sends no input of its own under every driver; a motion of nothing does.
    sendMouse(MOUSEEVENTF_MOVE);
}

void RealInput::buttonDown() const {
    sendMouse(MOUSEEVENTF_LEFTDOWN);
}

void RealInput::buttonUp() const {
    sendMouse(MOUSEEVENTF_LEFTUP);
}

void RealInput::click(HWND control, POINT point) const {
    moveTo(control, point);
    buttonDown();
    buttonUp();
}

void RealInput::rightClick(HWND control, POINT point) const {
    moveTo(control, point);
    sendMouse(MOUSEEVENTF_RIGHTDOWN);
    sendMouse(MOUSEEVENTF_RIGHTUP);
}

void RealInput::doubleClick(HWND control, POINT point) const {
    click(control, point);
    buttonDown();
    buttonUp();
}

void RealInput::dragTo(HWND control, POINT from, POINT to) const {
    moveTo(control, from);
    buttonDown();
    constexpr int kSteps = 6;
    for (int i = 1; i <= kSteps; ++i)
        moveTo(control,
               {from.x + (to.x - from.x) * i / kSteps, from.y + (to.y - from.y) * i / kSteps});
}

}  // namespace velmora::testing
