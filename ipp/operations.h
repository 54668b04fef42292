#pragma once

#include <cstdint>
#include <span>

namespace velmora {

/// The operations of RFC 2911, 4.4.15, by our own numbers.
enum class IppOperation : std::uint32_t {
    printJob = 0,
    printUri = 1,
    validateJob = 2,
    createJob = 3,
    getPrinterAttributes = 4,
    getJobs = 5,
    pausePrinter = 6,
    resumePrinter = 7,
    purgeJobs = 8,
    sendDocument = 9,
    sendUri = 10,
    cancelJob = 11,
    getJobAttributes = 12,
    holdJob = 13,
    releaseJob = 14,
    restartJob = 15,
    vendorOperation = 16,
    unknown = 0xFFFFFFFF,  ///< read from a request; cannot be written
};

struct IppOperationIds {
    IppOperation operation;
    std::uint16_t written;
    std::uint16_t read;
};

/// One row for each operation, in the order of the codes.
std::span<const IppOperationIds> ippOperations() noexcept;

}  // namespace velmora
