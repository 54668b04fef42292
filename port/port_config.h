#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ipp/job_template.h"
#include "platform/printer_address.h"

namespace velmora {

/// Everything that is configured for one port. All text is in the ANSI code page.
struct PortConfig {
    std::string name;               ///< as the spooler shows it
    std::uint8_t singleTarget = 0;  ///< boolean; a new port starts in multi-remote mode
    PrinterAddress printer;         ///< single-target mode only
    std::vector<std::uint32_t>
        targetIds;  ///< printer groups, in the order in which they were chosen
    JobTemplate jobTemplate;

    bool operator==(const PortConfig&) const = default;
};

// The packed record: a port's registry value and the payload of the Xcv commands "ConfigPort" and
// "GetConfigInfo". No header, no padding; integers are 32-bit little-endian, a flag is one byte, a
// text is its bytes and one NUL.
//
//    1 text  name                        12 u32 x3 printer-resolution: cross-feed, feed, units
//    2 flag  singleTarget                13 u32    print-quality
//    3 text  printerUrl                  14 text   page-ranges
//    4 flag  useAuthentication           15 text   media
//    5 text  userName                    16 u32    orientation-requested
//    6 text  password                    17 u32    number-up
//    7 u32   count of targetIds          18 text   sides
//    8 u32 x count targetIds             19 text   multiple-document-handling
//    9 u32   job-priority                20 u32    finishings
//   10 text  job-hold-until              21 text   job-sheets
//   11 u32   copies                      22 flag   ipp-attribute-fidelity

using PackedPortConfig = std::vector<std::byte>;

/// Length of the packed record: 53 bytes, its ten texts and 4 bytes a target identifier.
std::size_t packedSize(const PortConfig& config) noexcept;

PackedPortConfig pack(const PortConfig& config);

/// Reads a packed record from the front of `block`; bytes after it are ignored. None when the
/// record does not end within the block, so nothing outside it is ever read.
std::optional<PortConfig> unpack(std::span<const std::byte> block);

}  // namespace velmora
