#include "ui/kit/window_text.h"

namespace velmora {

std::string windowText(HWND window) {
    // The length is that of the longest ANSI form and may be more than what is copied.
    std::string text(static_cast<std::size_t>(GetWindowTextLengthA(window)) + 1, '\0');
    const int length = GetWindowTextA(window, text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

void setWindowText(HWND window, const std::string& text) {
    SetWindowTextA(window, text.c_str());
}

}  // namespace velmora
