#pragma once

namespace velmora {

enum class MessageIcon { none, error };

/// Why a dialog or page cannot be left: a message, and the control to correct.
struct Refusal {
    int message;  ///< DialogHost::message gives its text
    int control;
    MessageIcon icon = MessageIcon::none;

    bool operator==(const Refusal&) const = default;
};

}  // namespace velmora
