#pragma once

#include <string>

#include "ui/kit/message_box.h"

namespace velmora {

/// What the program that shows dialogs gives them: its message boxes and its texts. Outlives every
/// dialog.
class DialogHost {
  public:
    virtual ~DialogHost() = default;

    virtual MessageBoxes& messageBoxes() = 0;
    /// The text of Refusal::message.
    virtual std::string message(int id) const = 0;
    /// Said of a number box that holds no number, or one outside its bounds.
    virtual std::string notANumber() const = 0;
    virtual std::string outsideBounds(int low, int high) const = 0;
    /// Said of a text with a character that the code page lacks.
    virtual std::string outsideCodePage() const = 0;
};

}  // namespace velmora
