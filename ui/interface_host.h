#pragma once

#include "ui/kit/dialog_host.h"

namespace velmora {

/// The interface's texts and message boxes, for its pages and dialogs. A refusal's message is an
/// entry of the string table.
DialogHost& interfaceHost();

}  // namespace velmora
