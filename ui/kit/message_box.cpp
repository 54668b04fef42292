#include "ui/kit/message_box.h"

#include "ui/text_table.h"

namespace velmora {
namespace {

class PlatformMessageBoxes : public MessageBoxes {
  public:
    void show(HWND owner, const std::string& text, MessageIcon icon) override {
        const UINT style = MB_OK | (icon == MessageIcon::Error ? MB_ICONERROR : 0);
        MessageBoxA(owner, text.c_str(), interfaceTitle().c_str(), style);
    }
};

}  // namespace

MessageBoxes& platformMessageBoxes() {
    static PlatformMessageBoxes boxes;
    return boxes;
}

}  // namespace velmora
