#pragma once

#include "monitor/delivery_log.h"

namespace velmora {

/// Appends a line to the newest file of the record in `directory`, after the older ones have moved
/// on if it would become larger than a quarter of `recordMiB`. False, with the file as it was, if
/// not all of the line could be written. Other processes may write to the same files.
bool appendToRecord(const std::string& directory, const std::string& line, std::uint32_t recordMiB);

/// The machine's log of deliveries: the files below the spooler's directory and the Windows event
/// log.
DeliveryLog& deliveryLog();

}  // namespace velmora
