#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// The job template attributes (RFC 2911, 4.2) that a port sends with each of its jobs. The
/// defaults are those of a new port.
struct JobTemplate {
    struct Resolution {
        std::uint32_t crossFeed = 600;
        std::uint32_t feed = 600;
        std::uint8_t units = 3;  ///< 3: dots per inch

        bool operator==(const Resolution&) const = default;
    };

    std::uint32_t jobPriority = 10;  ///< not IPP's default of 50: jobs of a port give way to others
    std::string jobHoldUntil = "no-hold";
    std::uint32_t copies = 1;
    Resolution printerResolution;
    std::uint32_t printQuality = 4;  ///< normal
    std::string pageRanges;          ///< as typed; parsed only when a job is sent
    std::string media = "A4";
    std::uint32_t orientationRequested = 3;  ///< portrait
    std::uint32_t numberUp = 1;
    std::string sides = "one-sided";
    std::string multipleDocumentHandling = "separate-documents-uncollated-copies";
    std::uint32_t finishings = 3;  ///< none
    std::string jobSheets = "none";
    std::uint8_t ippAttributeFidelity = 0;  ///< boolean

    bool operator==(const JobTemplate&) const = default;
};

}  // namespace velmora
