#include "harness/real_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "harness/dialog_driver.h"

namespace velmora::testing {
namespace {

/// For this long after a movement Wine does not ask the X server where the pointer is.
constexpr DWORD kKnownPointer = 100;

/// How many released keys and buttons the threads with a RealInput have taken from their queues.
std::atomic<unsigned> releases = 0;

LRESULT CALLBACK countReleases(int code, WPARAM removed, LPARAM parameter) {
    switch (reinterpret_cast<const MSG*>(parameter)->message) {
        case WM_KEYUP:
        case WM_SYSKEYUP:
        case WM_LBUTTONUP:
        case WM_NCLBUTTONUP:
        case WM_RBUTTONUP:
        case WM_NCRBUTTONUP:
            if (code == HC_ACTION && removed == PM_REMOVE) ++releases;
            break;
        default:
            break;
    }
    return CallNextHookEx(nullptr, code, removed, parameter);
}

void send(INPUT input) {
    EXPECT_EQ(SendInput(1, &input, sizeof input), 1u);
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

void movePointer(POINT screen) {
    SetCursorPos(screen.x, screen.y);
    // Not every driver sends input when the position is set; a motion by zero always does.
    sendMouse(MOUSEEVENTF_MOVE);
}

}  // namespace

RealInput::RealInput(HWND window)
    : window_(window),
      hook_(SetWindowsHookExA(WH_GETMESSAGE, &countReleases, nullptr,
                              GetWindowThreadProcessId(window, nullptr))) {
    EXPECT_NE(hook_, nullptr);
    SetForegroundWindow(window);
}

RealInput::~RealInput() {
    UnhookWindowsHookEx(hook_);
}

void RealInput::settle() const {
    if (!IsWindow(window_)) return;
    // The X server reports opened windows and moved pointers some time later, and Wine then takes
    // over the server's state of keys and pointer, which lacks the keys that were sent in the
    // meantime. A request to the X server is answered after all events that it has queued; the
    // first one here is for this thread's movements.
    while (GetTickCount() - moved_ <= kKnownPointer)
        Sleep(10);
    POINT ignored;
    GetCursorPos(&ignored);
    DialogDriver(window_).settle();
}

void RealInput::release(const std::function<void()>& send, unsigned count) const {
    const unsigned before = releases;
    send();
    // Messages that a test sends would overtake input that is still in the queue. The release of a
    // key whose press closed the window may stay there.
    EXPECT_TRUE(waitUntil([&] { return releases - before >= count || !IsWindow(window_); }))
        << "the input did not arrive";
}

void RealInput::keyDown(WORD virtualKey) const {
    settle();
    sendKey(virtualKey, 0);
}

void RealInput::keyUp(WORD virtualKey) const {
    release([&] { sendKey(virtualKey, KEYEVENTF_KEYUP); }, 1);
}

void RealInput::keys(std::initializer_list<WORD> virtualKeys) const {
    const std::vector<WORD> all(virtualKeys);
    settle();
    const auto pressAndRelease = [&] {
        for (const WORD key : all)
            sendKey(key, 0);
        for (auto key = all.rbegin(); key != all.rend(); ++key)
            sendKey(*key, KEYEVENTF_KEYUP);
    };
    release(pressAndRelease, static_cast<unsigned>(all.size()));
}

void RealInput::moveTo(HWND control, POINT point) const {
    POINT screen = point;
    ClientToScreen(control, &screen);
    screen.x = std::clamp(screen.x, 0L, GetSystemMetrics(SM_CXSCREEN) - 1L);
    screen.y = std::clamp(screen.y, 0L, GetSystemMetrics(SM_CYSCREEN) - 1L);
    // A late event of an earlier movement would move the pointer back.
    EXPECT_TRUE(waitUntil([&] {
        movePointer(screen);
        moved_ = GetTickCount();
        settle();
        POINT now{};
        GetCursorPos(&now);
        return now.x == screen.x && now.y == screen.y;
    })) << "the pointer does not stay where it is put";
}

void RealInput::buttonDown() const {
    sendMouse(MOUSEEVENTF_LEFTDOWN);
}

void RealInput::buttonUp() const {
    release([] { sendMouse(MOUSEEVENTF_LEFTUP); }, 1);
}

void RealInput::rightClick(HWND control, POINT point) const {
    moveTo(control, point);
    sendMouse(MOUSEEVENTF_RIGHTDOWN);
    release([] { sendMouse(MOUSEEVENTF_RIGHTUP); }, 1);
}

void RealInput::rightClickIntoABox(HWND control, POINT point) const {
    moveTo(control, point);
    sendMouse(MOUSEEVENTF_RIGHTDOWN);
    sendMouse(MOUSEEVENTF_RIGHTUP);
}

void RealInput::waitUntilTaken(HWND window) {
    // A window is painted only when its thread finds no input waiting.
    EXPECT_TRUE(waitUntil([&] { return IsWindowVisible(window) != FALSE; }));
    InvalidateRect(window, nullptr, FALSE);
    EXPECT_TRUE(waitUntil([&] { return GetUpdateRect(window, nullptr, FALSE) == FALSE; }))
        << "the window does not paint itself";
}

void RealInput::doubleClick(HWND control, POINT point) const {
    moveTo(control, point);
    const auto twice = [] {
        for (const DWORD flags :
             {MOUSEEVENTF_LEFTDOWN, MOUSEEVENTF_LEFTUP, MOUSEEVENTF_LEFTDOWN, MOUSEEVENTF_LEFTUP})
            sendMouse(static_cast<DWORD>(flags));
    };
    // The second release does not arrive when the double click has opened a dialog, whose owner
    // takes no more input.
    release(twice, 1);
}

void RealInput::dragTo(HWND control, POINT from, POINT to) const {
    moveTo(control, from);
    buttonDown();
    moveTo(control, {(from.x + to.x) / 2, (from.y + to.y) / 2});
    moveTo(control, to);
}

}  // namespace velmora::testing
