#include "ui/kit/message_box.h"

namespace velmora {

void PlatformMessageBoxes::show(HWND owner, const std::string& text, MessageIcon icon) {
    const UINT style = MB_OK | (icon == MessageIcon::error ? MB_ICONERROR : 0);
    MessageBoxA(owner, text.c_str(), title_().c_str(), style);
}

}  // namespace velmora
