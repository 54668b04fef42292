#pragma once

#include <windows.h>

#include <span>
#include <string>

#include "ui/help.h"
#include "ui/kit/dialog.h"

namespace velmora {

/// Shows help in a read-only edit box, which screen readers read line by line, in a dialog that can
/// be resized. Escape closes it.
class HelpWindow : public ModalDialog {
  public:
    /// `text`: its lines end with line feeds.
    explicit HelpWindow(std::string text);

  protected:
    void onInit() override;
    std::optional<LRESULT> onMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

  private:
    void placeControls() const;

    std::string text_;
    SIZE smallest_{};
};

/// Looks up the topics for `control` (helpFor) in the settings file and shows them over `owner`.
/// The texts are looked up only now, so that opening a page costs nothing for its help.
void showHelp(HWND owner, int control, std::span<const HelpTopic> topics);

}  // namespace velmora
