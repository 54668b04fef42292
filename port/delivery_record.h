#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// The record of deliveries: the outcome of every job at every printer. One line of JSON in UTF-8
// for each printer and job, in files below the spooler's directory.
//
//   deliveries.jsonl     the newest lines; when it holds a quarter of what is kept it becomes
//   deliveries.1.jsonl   which becomes
//   deliveries.2.jsonl   and so on; what was deliveries.3.jsonl is deleted

enum class DeliveryOutcome {
    accepted,    ///< IPP status 0x0000 to 0x0002
    refused,     ///< another IPP status
    noAnswer,    ///< sent whole; the answer was missing, not HTTP 200, or not IPP
    incomplete,  ///< failed when part of the document had been sent
    notReached,  ///< no byte of the document was handed to the printer
    abandoned,   ///< the spooler never ended the job
};

/// Whether an IPP status says that the job was accepted: successful-ok and its two kinds (RFC 2911,
/// 13.1.2).
constexpr bool isSuccess(std::uint16_t ippStatus) noexcept {
    return ippStatus <= 2;
}

/// The step in which a delivery failed.
enum class DeliveryStep { none, resolve, connect, probe, authenticate, send, answer };

std::string_view keyword(DeliveryOutcome outcome) noexcept;
std::string_view keyword(DeliveryStep step) noexcept;

/// Why a delivery ended as it did.
struct DeliveryReason {
    DeliveryStep step = DeliveryStep::none;
    std::uint32_t error = 0;       ///< Win32 or WinInet code; 0: none
    std::uint32_t httpStatus = 0;  ///< 0: none was read, or it was 200
    std::optional<std::uint16_t> ippStatus;

    bool operator==(const DeliveryReason&) const = default;
};

/// The outcome of one job at one printer. Texts are in UTF-8.
struct DeliveryEntry {
    std::int64_t time = 0;  ///< end of this printer's part, milliseconds since 1970 in UTC
    std::string port;
    std::uint32_t job = 0;  ///< the spooler's id
    std::string document;
    std::string user;     ///< as sent in requesting-user-name
    std::string printer;  ///< URL without user and password
    std::uint32_t targets = 0;
    std::uint32_t target = 0;    ///< 1 is the first; 0: the job reached no printer at all
    std::uint64_t bytes = 0;     ///< of the document, handed to this printer's connection
    std::uint64_t duration = 0;  ///< milliseconds
    DeliveryOutcome outcome = DeliveryOutcome::abandoned;
    DeliveryReason reason;
    std::string errorText;  ///< the system's message for reason.error
    std::uint32_t repeats =
        0;                   ///< starts that failed in the same way and have no line of their own
    std::uint32_t lost = 0;  ///< lines before this one that could not be written
};

/// The longest line, its end included.
inline constexpr std::size_t kLongestDeliveryLine = 4096;

/// The entry as a line with its line feed. Texts are cut, and the line says so, if it would become
/// longer than kLongestDeliveryLine.
std::string deliveryLine(const DeliveryEntry& entry);

/// The name of the file with the newest lines (0) or of an older one (1 to kOldDeliveryFiles).
std::string deliveryFileName(unsigned age);
inline constexpr unsigned kOldDeliveryFiles = 3;

}  // namespace velmora
