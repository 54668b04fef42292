#pragma once

#include "harness/ipp_message_model.h"
#include "ipp/message.h"

namespace velmora::testing {

/// What the message holds, in the model's terms.
ModelMessage modelOf(const IppMessage& message);

}  // namespace velmora::testing
