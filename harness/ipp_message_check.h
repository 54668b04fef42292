#pragma once

#include "harness/ipp_message_model.h"
#include "ipp/message.h"

namespace velmora::testing {

/// The message's contents as a model's message.
ModelMessage modelOf(const IppMessage& message);

}  // namespace velmora::testing
