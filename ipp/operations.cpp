#include "ipp/operations.h"

#include <array>

namespace velmora {
namespace {

constexpr std::array kOperations = {
    IppOperationIds{IppOperation::printJob, 0x0002, 0x0002},
    IppOperationIds{IppOperation::printUri, 0x0003, 0x0003},
    IppOperationIds{IppOperation::validateJob, 0x0004, 0x0004},
    IppOperationIds{IppOperation::createJob, 0x0005, 0x0005},
    IppOperationIds{IppOperation::getPrinterAttributes, 0x000B, 0x000B},
    IppOperationIds{IppOperation::getJobs, 0x000A, 0x000A},
    IppOperationIds{IppOperation::pausePrinter, 0x0010, 0x0010},
    IppOperationIds{IppOperation::resumePrinter, 0x0011, 0x0011},
    IppOperationIds{IppOperation::purgeJobs, 0x0012, 0x0012},
    IppOperationIds{IppOperation::sendDocument, 0x0006, 0x0006},
    IppOperationIds{IppOperation::sendUri, 0x0007, 0x0007},
    IppOperationIds{IppOperation::cancelJob, 0x0008, 0x0008},
    IppOperationIds{IppOperation::getJobAttributes, 0x0009, 0x0009},
    IppOperationIds{IppOperation::holdJob, 0x000C, 0x000C},
    IppOperationIds{IppOperation::releaseJob, 0x000D, 0x000D},
    IppOperationIds{IppOperation::restartJob, 0x000E, 0x000E},
    // The vendor's printers take the operation with its bytes swapped; what they call it
    // themselves is the other way round. Both columns are right.
    IppOperationIds{IppOperation::vendorOperation, 0x1040, 0x4010},
};

constexpr bool inOrderOfCodes() {
    for (std::size_t i = 0; i < kOperations.size(); ++i) {
        if (static_cast<std::size_t>(kOperations[i].operation) != i) return false;
    }
    return true;
}
static_assert(inOrderOfCodes());

}  // namespace

std::span<const IppOperationIds> ippOperations() noexcept {
    return kOperations;
}

}  // namespace velmora
