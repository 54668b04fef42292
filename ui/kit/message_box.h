#pragma once

#include <windows.h>

#include <string>

#include "ui/kit/refusal.h"

namespace velmora {

/// Shows the messages of dialogs. Every message of every dialog goes through here, so a caller that
/// wants to record them hands its own to the dialog (DialogWindow::useMessageBoxes).
class MessageBoxes {
  public:
    virtual ~MessageBoxes() = default;
    /// Returns when the user has closed the box. `owner` is disabled meanwhile; it may be null.
    virtual void show(HWND owner, const std::string& text, MessageIcon icon) = 0;
};

/// The platform's message box with an OK button.
class PlatformMessageBoxes : public MessageBoxes {
  public:
    /// `title` is called for each message.
    explicit PlatformMessageBoxes(std::string (*title)()) noexcept : title_(title) {}
    void show(HWND owner, const std::string& text, MessageIcon icon) override;

  private:
    std::string (*title_)();
};

}  // namespace velmora
