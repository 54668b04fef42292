#pragma once

#include <windows.h>

#include <string>

namespace velmora {

enum class MessageIcon { None, Error };

/// Shows the interface's messages. Every message of every dialog goes through here, so a caller
/// that wants to record them hands its own to the dialog (DialogWindow::useMessageBoxes).
class MessageBoxes {
  public:
    virtual ~MessageBoxes() = default;
    /// Returns when the user has closed the box. `owner` is disabled meanwhile; it may be null.
    virtual void show(HWND owner, const std::string& text, MessageIcon icon) = 0;
};

/// The platform's message box with the interface's title and an OK button.
MessageBoxes& platformMessageBoxes();

}  // namespace velmora
