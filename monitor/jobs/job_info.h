#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// The spooler's side of the job in hand.
struct JobInfo {
    std::uint32_t jobId = 0;
    std::string documentName;       ///< ANSI
    void* printerHandle = nullptr;  ///< from OpenPrinterA; null when that failed
};

}  // namespace velmora
