#pragma once

#include <string>

#include "ui/kit/message_box.h"

namespace velmora {

/// What dialogs need from the program that shows them: message boxes and texts. Must outlive every
/// dialog.
class DialogHost {
  public:
    virtual ~DialogHost() = default;

    virtual MessageBoxes& messageBoxes() = 0;
    /// The text of Refusal::message.
    virtual std::string message(int id) const = 0;
    /// For a number box whose text is not a number, or a number outside its bounds.
    virtual std::string notANumber() const = 0;
    virtual std::string outsideBounds(int low, int high) const = 0;
    /// For a text with a character that the code page lacks.
    virtual std::string outsideCodePage() const = 0;
};

}  // namespace velmora
