#pragma once

#include <cstdint>
#include <span>

namespace velmora {

// The items of the lists of the job template page, in their order. Every text but those of
// number-up is also the key under which the shown text is looked up, so a list can be translated
// while the record keeps the keyword.

/// A list item that stands for a number of the record.
struct NumberChoice {
    const char* text;
    std::uint32_t value;
};

std::span<const char* const> holdUntilChoices();
std::span<const char* const> sidesChoices();
std::span<const char* const> mediaChoices();
/// Dots per inch, for both directions.
std::span<const NumberChoice> resolutionChoices();
/// Values of the IPP enumeration "finishings".
std::span<const NumberChoice> finishingsChoices();
/// Pages per sheet; shown as they are.
std::span<const NumberChoice> numberUpChoices();

// The choices that the page offers in other forms than lists, and the keywords of RFC 2911.

std::span<const NumberChoice> qualityChoices();          ///< 4.2.13
std::span<const NumberChoice> orientationChoices();      ///< 4.2.10
std::span<const char* const> documentHandlingChoices();  ///< 4.2.4
std::span<const char* const> jobSheetsChoices();         ///< 4.2.3
/// 4.2.8: what a printer must know, without the older names that sidesChoices() has too.
std::span<const char* const> standardSidesChoices();

// Units of a resolution (RFC 2911, 4.1.15).
inline constexpr std::uint8_t kDotsPerInch = 3;
inline constexpr std::uint8_t kDotsPerCentimetre = 4;

}  // namespace velmora
