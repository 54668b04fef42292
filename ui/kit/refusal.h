#pragma once

namespace velmora {

enum class MessageIcon { None, Error };

/// Why a dialog or page cannot be left: a message, and the control to correct.
struct Refusal {
    int message;  ///< DialogHost::message gives its text
    int control;
    MessageIcon icon = MessageIcon::None;

    bool operator==(const Refusal&) const = default;
};

}  // namespace velmora
