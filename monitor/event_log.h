#pragma once

#include <cstdint>
#include <string>

#include "port/delivery_record.h"

namespace velmora {

/// Why a delivery failed, in words and in UTF-8: "step connect, error 12029: ...".
std::string reasonInWords(const DeliveryEntry& entry);

/// Writes an event of the source "Velmora" to the Windows event log; nothing if that is not
/// possible. `leftOut`: how many like it were not reported before. ReportEventW.
void reportDeliveryEvent(const DeliveryEntry& entry, std::uint32_t leftOut);

}  // namespace velmora
