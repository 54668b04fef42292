#pragma once

#include <windows.h>

#include <string>

namespace velmora {

/// The whole text of a window or control, of any length.
std::string windowText(HWND window);

void setWindowText(HWND window, const std::string& text);

}  // namespace velmora
