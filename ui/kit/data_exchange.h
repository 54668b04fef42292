#pragma once

#include <string>

#include "ui/kit/refusal.h"

namespace velmora {

class DialogWindow;

/// One pass over a dialog's data, moving it between members and controls in the order of the calls.
/// The first refusal shows its message and puts the focus into the control concerned; all further
/// steps then do nothing, so the members that follow keep what they had.
class DataExchange {
  public:
    enum class Direction { toControls, fromControls };

    DataExchange(DialogWindow& dialog, Direction direction) noexcept
        : dialog_(dialog), direction_(direction) {}

    bool refused() const noexcept { return refused_; }
    /// Data are being saved and nothing has been refused yet: checks run only then.
    bool checking() const noexcept { return direction_ == Direction::fromControls && !refused_; }

    /// Refused if the control, unless it is disabled, holds a character that the code page lacks:
    /// a password with a look-alike or "?" in its place would fail for good. A disabled control
    /// with such a text leaves the value as it is.
    void text(int id, std::string& value);

    /// Refused if the text is not a number, or a number outside the bounds.
    void integer(int id, int& value, int low, int high);

    /// The state of a check box: 1 checked, 0 not.
    void check(int id, int& value);

    /// The index of the selected auto radio button, counted from `first` to the end of its group
    /// (the next control with WS_GROUP); -1 if none is selected.
    void radio(int first, int& index);

    /// Ends the pass as refused, with the refusal's message and the focus in its control.
    void refuse(const Refusal& refusal);

  private:
    void refuseText(int id, const std::string& message);
    bool loading() const noexcept { return direction_ == Direction::toControls; }

    DialogWindow& dialog_;
    Direction direction_;
    bool refused_ = false;
};

}  // namespace velmora
