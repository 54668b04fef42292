#include "ui/kit/window.h"

#include "platform/library.h"

namespace velmora {
namespace {

constexpr const char* kOwner = "Velmora.WindowSubclass";
constexpr const char* kPauses = "Velmora.RedrawPause";

LONG_PTR pausesOf(HWND window) noexcept {
    return reinterpret_cast<LONG_PTR>(GetPropA(window, kPauses));
}

WNDPROC exchangeProcedure(HWND window, WNDPROC procedure, bool unicode) noexcept {
    const auto value = reinterpret_cast<LONG_PTR>(procedure);
    // With the wrong one of the two, Windows would convert the control's texts to the ANSI code
    // page and back.
    return reinterpret_cast<WNDPROC>(unicode ? SetWindowLongPtrW(window, GWLP_WNDPROC, value)
                                             : SetWindowLongPtrA(window, GWLP_WNDPROC, value));
}

}  // namespace

std::string windowText(HWND window) {
    // The length is that of the longest ANSI form and may be more than what is copied.
    std::string text(static_cast<std::size_t>(GetWindowTextLengthA(window)) + 1, '\0');
    const int length = GetWindowTextA(window, text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::wstring wideWindowText(HWND window) {
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    const int length = GetWindowTextW(window, text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

void setWindowText(HWND window, const std::string& text) {
    SetWindowTextA(window, text.c_str());
}

void limitBytes(HWND edit, std::size_t longest) {
    // The boxes count characters, which have two bytes at most in some code pages.
    CPINFO codePage{};
    if (GetCPInfo(CP_ACP, &codePage)) longest /= codePage.MaxCharSize;
    SendMessageA(edit, EM_LIMITTEXT, longest, 0);
}

int scaledPixels(int at96) {
    const HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, LOGPIXELSX);
    ReleaseDC(nullptr, screen);
    return MulDiv(at96, dpi, 96);
}

void addHiddenLabel(HWND control, std::string name) {
    std::erase(name, '&');
    // Visible, because some readers pass over hidden labels. The group keeps it apart from radio
    // buttons before it.
    const HWND label =
        CreateWindowExA(WS_EX_NOPARENTNOTIFY, "STATIC", name.c_str(),
                        WS_CHILD | WS_VISIBLE | WS_GROUP | SS_LEFT | SS_NOPREFIX, 0, 0, 0, 0,
                        GetParent(control), nullptr, currentModule(), nullptr);
    const HWND before = GetWindow(control, GW_HWNDPREV);
    SetWindowPos(label, before == nullptr ? HWND_TOP : before, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
}

void WindowSubclass::attach(HWND window) noexcept {
    detach();
    if (window == nullptr || !SetPropA(window, kOwner, this)) return;
    window_ = window;
    unicode_ = IsWindowUnicode(window) != FALSE;
    previous_ = exchangeProcedure(window, &procedure, unicode_);
}

void WindowSubclass::detach() noexcept {
    if (window_ == nullptr) return;
    RemovePropA(window_, kOwner);
    exchangeProcedure(window_, previous_, unicode_);
    window_ = nullptr;
}

LRESULT WindowSubclass::original(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
    return unicode_ ? CallWindowProcW(previous_, window_, message, wParam, lParam)
                    : CallWindowProcA(previous_, window_, message, wParam, lParam);
}

LRESULT CALLBACK WindowSubclass::procedure(HWND window, UINT message, WPARAM wParam,
                                           LPARAM lParam) noexcept {
    auto* const self = static_cast<WindowSubclass*>(GetPropA(window, kOwner));
    if (self == nullptr) return DefWindowProcA(window, message, wParam, lParam);
    if (message == WM_NCDESTROY) {
        const WNDPROC previous = self->previous_;
        const bool unicode = self->unicode_;
        self->detach();
        return unicode ? CallWindowProcW(previous, window, message, wParam, lParam)
                       : CallWindowProcA(previous, window, message, wParam, lParam);
    }
    return self->onMessage(message, wParam, lParam);
}

RedrawPause::RedrawPause(HWND window) noexcept : window_(window) {
    const LONG_PTR pauses = pausesOf(window);
    SetPropA(window, kPauses, reinterpret_cast<HANDLE>(pauses + 1));
    if (pauses == 0) SendMessageA(window, WM_SETREDRAW, FALSE, 0);
}

RedrawPause::~RedrawPause() {
    const LONG_PTR others = pausesOf(window_) - 1;
    if (others > 0) {
        SetPropA(window_, kPauses, reinterpret_cast<HANDLE>(others));
        return;
    }
    RemovePropA(window_, kPauses);
    SendMessageA(window_, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(window_, nullptr, TRUE);
}

}  // namespace velmora
