#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace velmora::ctl {

/// A sheet, as it is named: in hundredths of a millimetre.
struct MediaSize {
    std::int32_t width = 0;
    std::int32_t height = 0;

    bool operator==(const MediaSize&) const = default;
};

/// The size in a medium's name: a self-describing name of PWG 5101.1, such as "iso_a4_210x297mm" or
/// "na_letter_8.5x11in", a name of RFC 2911's appendix C, such as "iso-a4" or "na-letter-white", or
/// a name of the job template page or of printer drivers, such as "A4" or "DL Env.". None for the
/// bounds of custom sizes ("custom_min_..."), for trays and for what is not known.
std::optional<MediaSize> mediaSizeOf(std::string_view name);

/// Whether both name the same sheet: half a millimetre lies within what inches are rounded to.
bool sameSheet(const MediaSize& one, const MediaSize& other);

}  // namespace velmora::ctl
