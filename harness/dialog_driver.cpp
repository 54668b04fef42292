#include "harness/dialog_driver.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "ui/kit/window.h"

namespace velmora::testing {
namespace {

struct Search {
    DWORD process;
    DWORD thread;
    std::string title;
    HWND found;
};

BOOL CALLBACK visit(HWND window, LPARAM parameter) {
    auto& search = *reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    const DWORD thread = GetWindowThreadProcessId(window, &process);
    std::array<char, 16> name{};
    GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    if (process != search.process || (search.thread != 0 && thread != search.thread) ||
        !IsWindowVisible(window) || std::string_view(name.data()) != "#32770")
        return TRUE;
    if (!search.title.empty() && windowText(window) != search.title) return TRUE;
    search.found = window;
    return FALSE;
}

/// The message numbers of marks, and the mark that was taken from the queue last.
std::atomic<WPARAM> lastMark = 0;
std::atomic<WPARAM> seenMark = 0;

LRESULT CALLBACK seeMark(int code, WPARAM removed, LPARAM parameter) {
    const auto& message = *reinterpret_cast<const MSG*>(parameter);
    if (code == HC_ACTION && removed == PM_REMOVE && message.message == WM_NULL &&
        message.wParam != 0) {
        // Under Wine this is a round trip to the X server: when it answers, its events about the
        // windows that this thread has shown so far have arrived. They are handled before the next
        // message.
        POINT ignored;
        GetCursorPos(&ignored);
        seenMark = message.wParam;
    }
    return CallNextHookEx(nullptr, code, removed, parameter);
}

HWND findDialog(DWORD thread, const std::string& title) {
    Search search{GetCurrentProcessId(), thread, title, nullptr};
    EnumWindows(&visit, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

}  // namespace

HWND DialogDriver::control(int id) const {
    const HWND found = GetDlgItem(window_, id);
    EXPECT_NE(found, nullptr) << "no control " << id;
    return found;
}

std::string DialogDriver::title() const {
    return windowText(window_);
}

std::string DialogDriver::text(int id) const {
    return windowText(control(id));
}

bool DialogDriver::enabled(int id) const {
    return IsWindowEnabled(control(id)) != FALSE;
}

bool DialogDriver::checked(int id) const {
    return SendMessageA(control(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

bool DialogDriver::hasFocus(int id) const {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(GetWindowThreadProcessId(window_, nullptr), &info);
    // Without a window manager the X server now and then leaves no window with the focus. A dialog
    // that is activated again puts it where it was.
    const HWND dialog = GetAncestor(window_, GA_ROOT);
    if (info.hwndFocus == nullptr && IsWindowEnabled(dialog)) SetForegroundWindow(dialog);
    return info.hwndFocus == control(id);
}

void DialogDriver::type(int id, const std::string& text) const {
    EXPECT_TRUE(enabled(id)) << "typing into disabled control " << id;
    SendMessageA(control(id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void DialogDriver::click(int id) const {
    // A click by message would work on a disabled button too, or hang.
    ASSERT_TRUE(enabled(id)) << "clicking disabled control " << id;
    SendMessageA(control(id), BM_CLICK, 0, 0);
}

void DialogDriver::clickWithoutWaiting(int id) const {
    ASSERT_TRUE(enabled(id)) << "clicking disabled control " << id;
    PostMessageA(control(id), BM_CLICK, 0, 0);
}

void DialogDriver::choose(int id, int index) const {
    const HWND list = control(id);
    EXPECT_TRUE(enabled(id)) << "choosing in disabled control " << id;
    SendMessageA(list, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    SendMessageA(window_, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(list));
}

void DialogDriver::setFocus(int id) const {
    PostMessageA(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(control(id)), TRUE);
    EXPECT_TRUE(waitUntil([&] { return hasFocus(id); })) << "focus on " << id;
}

void DialogDriver::press(int id, WPARAM virtualKey) const {
    // The pressed key may close the dialog before its release is posted.
    const HWND target = control(id);
    PostMessageA(target, WM_KEYDOWN, virtualKey, 1);
    PostMessageA(target, WM_KEYUP, virtualKey, static_cast<LPARAM>(0xC0000001));
}

int DialogDriver::rows(int id) const {
    return static_cast<int>(SendMessageA(control(id), LVM_GETITEMCOUNT, 0, 0));
}

std::string DialogDriver::cell(int id, int row, int column) const {
    std::vector<char> area(4096);
    LVITEMA item{};
    item.iSubItem = column;
    item.pszText = area.data();
    item.cchTextMax = static_cast<int>(area.size());
    SendMessageA(control(id), LVM_GETITEMTEXTA, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

std::string DialogDriver::heading(int id, int column) const {
    std::array<char, 256> area{};
    LVCOLUMNA query{};
    query.mask = LVCF_TEXT | LVCF_FMT;
    query.pszText = area.data();
    query.cchTextMax = static_cast<int>(area.size());
    EXPECT_TRUE(SendMessageA(control(id), LVM_GETCOLUMNA, static_cast<WPARAM>(column),
                             reinterpret_cast<LPARAM>(&query)));
    EXPECT_EQ(query.fmt & LVCFMT_JUSTIFYMASK, LVCFMT_LEFT);
    return area.data();
}

bool DialogDriver::rowChecked(int id, int row) const {
    const auto state =
        SendMessageA(control(id), LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_STATEIMAGEMASK);
    return state == INDEXTOSTATEIMAGEMASK(2);
}

void DialogDriver::checkRow(int id, int row, bool check) const {
    ASSERT_TRUE(enabled(id));
    LVITEMA item{};
    item.stateMask = LVIS_STATEIMAGEMASK;
    item.state = static_cast<UINT>(INDEXTOSTATEIMAGEMASK(check ? 2 : 1));
    SendMessageA(control(id), LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
}

void DialogDriver::settle() const {
    const HHOOK hook = SetWindowsHookExA(WH_GETMESSAGE, &seeMark, nullptr,
                                         GetWindowThreadProcessId(window_, nullptr));
    EXPECT_NE(hook, nullptr);
    for (int round = 0; round < 2; ++round) {
        const WPARAM mark = ++lastMark;
        PostMessageA(window_, WM_NULL, mark, 0);
        EXPECT_TRUE(waitUntil([&] { return seenMark == mark; })) << "the dialog does not react";
    }
    UnhookWindowsHookEx(hook);
}

void DialogDriver::waitUntilClosed() const {
    EXPECT_TRUE(waitUntil([&] { return !isOpen(); })) << "still open";
}

DialogDriver SheetDriver::page() const {
    return DialogDriver(
        reinterpret_cast<HWND>(SendMessageA(sheet_.window(), PSM_GETCURRENTPAGEHWND, 0, 0)));
}

int SheetDriver::pageCount() const {
    const auto tabs =
        reinterpret_cast<HWND>(SendMessageA(sheet_.window(), PSM_GETTABCONTROL, 0, 0));
    return static_cast<int>(SendMessageA(tabs, TCM_GETITEMCOUNT, 0, 0));
}

std::string SheetDriver::tabText(int index) const {
    const auto tabs =
        reinterpret_cast<HWND>(SendMessageA(sheet_.window(), PSM_GETTABCONTROL, 0, 0));
    std::array<char, 256> area{};
    TCITEMA item{};
    item.mask = TCIF_TEXT;
    item.pszText = area.data();
    item.cchTextMax = static_cast<int>(area.size());
    SendMessageA(tabs, TCM_GETITEMA, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

void SheetDriver::chooseTab(int index) const {
    PostMessageA(sheet_.window(), PSM_SETCURSEL, static_cast<WPARAM>(index), 0);
}

DialogDriver SheetDriver::openPage(int index) const {
    chooseTab(index);
    EXPECT_TRUE(waitUntil([&] {
        const auto current = SendMessageA(sheet_.window(), PSM_GETCURRENTPAGEHWND, 0, 0);
        return current != 0 && SendMessageA(sheet_.window(), PSM_HWNDTOINDEX,
                                            static_cast<WPARAM>(current), 0) == index;
    })) << "page "
        << index;
    return page();
}

DialogDriver waitForDialog(const std::string& title) {
    return waitForDialogOf(0, title);
}

DialogDriver waitForDialogOf(DWORD thread, const std::string& title) {
    HWND found = nullptr;
    EXPECT_TRUE(waitUntil([&] { return (found = findDialog(thread, title)) != nullptr; }))
        << "no dialog \"" << title << '"';
    return DialogDriver(found);
}

void drive(const std::function<void()>& modal, const std::function<void()>& driver) {
    std::atomic<bool> ended = false;
    std::thread second([&] {
        driver();
        if (waitUntil([&] { return ended.load(); })) return;
        ADD_FAILURE() << "a dialog was left open";
        while (!ended) {
            if (const HWND open = findDialog(0, "")) {
                PostMessageA(open, WM_COMMAND, IDCANCEL, 0);
                PostMessageA(open, WM_COMMAND, IDOK, 0);
            }
            Sleep(50);
        }
    });
    modal();
    ended = true;
    second.join();
}

void RecordedBoxes::show(HWND owner, const std::string& text, MessageIcon icon) {
    const std::lock_guard lock(mutex_);
    owner_ = owner;
    messages_.push_back({text, icon});
}

std::size_t RecordedBoxes::count() const {
    const std::lock_guard lock(mutex_);
    return messages_.size();
}

HWND RecordedBoxes::lastOwner() const {
    const std::lock_guard lock(mutex_);
    return owner_;
}

std::vector<RecordedBoxes::Message> RecordedBoxes::take() {
    EXPECT_TRUE(waitUntil([&] { return count() != 0; })) << "no message was shown";
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
}

void PrintTo(const RecordedBoxes::Message& message, std::ostream* out) {
    *out << '"' << message.text << '"' << (message.icon == MessageIcon::error ? " (error)" : "");
}

}  // namespace velmora::testing
