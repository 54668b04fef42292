#include "velmoractl/text/media_size.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "velmoractl/text/lower_case.h"

namespace velmora::ctl {
namespace {

struct NamedSize {
    std::string_view name;
    MediaSize size;
};

constexpr MediaSize kLetter{21590, 27940};
constexpr MediaSize kLegal{21590, 35560};
constexpr MediaSize kExecutive{18415, 26670};
constexpr MediaSize kFolio{21590, 33020};
constexpr MediaSize kTabloid{27940, 43180};
constexpr MediaSize kStatement{13970, 21590};
constexpr MediaSize kA3{29700, 42000};
constexpr MediaSize kA4{21000, 29700};
constexpr MediaSize kA5{14800, 21000};
constexpr MediaSize kA6{10500, 14800};
constexpr MediaSize kIsoB4{25000, 35300};
constexpr MediaSize kIsoB5{17600, 25000};
constexpr MediaSize kJisB4{25700, 36400};
constexpr MediaSize kJisB5{18200, 25700};
constexpr MediaSize kC5{16200, 22900};
constexpr MediaSize kC6{11400, 16200};
constexpr MediaSize kDl{11000, 22000};
constexpr MediaSize kCom10{10478, 24130};
constexpr MediaSize kMonarch{9843, 19050};

// The names that do not contain a size, in lower case.
constexpr NamedSize kNamedSizes[] = {
    // The job template page; "Custom Paper Size" and "STS" have no size.
    {"letter", kLetter},
    {"legal", kLegal},
    {"executive", kExecutive},
    {"folio", kFolio},
    {"a4", kA4},
    {"jis b5", kJisB5},
    {"iso b5", kIsoB5},
    {"a5", kA5},
    {"com 10 env.", kCom10},
    {"monarch env.", kMonarch},
    {"dl env.", kDl},
    {"c5 env.", kC5},
    {"post a6", kA6},
    {"c6", kC6},
    {"a6", kA6},
    // RFC 2911, appendix C.
    {"na-letter", kLetter},
    {"na-legal", kLegal},
    {"tabloid", kTabloid},
    {"invoice", kStatement},
    {"iso-a3", kA3},
    {"iso-a4", kA4},
    {"iso-a5", kA5},
    {"iso-a6", kA6},
    {"iso-b4", kIsoB4},
    {"iso-b5", kIsoB5},
    {"jis-b4", kJisB4},
    {"jis-b5", kJisB5},
    {"iso-c5", kC5},
    {"iso-c6", kC6},
    {"iso-designated-long", kDl},
    {"na-number-10-envelope", kCom10},
    {"monarch-envelope", kMonarch},
    // PostScript printer descriptions.
    {"a3", kA3},
    {"statement", kStatement},
    {"isob5", kIsoB5},
    {"envc5", kC5},
    {"envc6", kC6},
    {"envdl", kDl},
    {"env10", kCom10},
    {"envmonarch", kMonarch},
};

/// "8.5" as hundredths of a millimetre, with as many of them in a unit as given.
std::optional<std::int32_t> lengthOf(std::string_view text, std::int64_t perUnit) {
    constexpr std::int64_t kMostDigits = 9;
    std::int64_t digits = 0;
    std::int64_t scale = 1;
    std::int64_t value = 0;
    bool point = false;
    for (const char c : text) {
        if (c == '.' && !point) {
            point = true;
            continue;
        }
        if (c < '0' || c > '9' || ++digits > kMostDigits) return std::nullopt;
        value = value * 10 + (c - '0');
        if (point) scale *= 10;
    }
    const std::int64_t hundredths = (value * perUnit + scale / 2) / scale;
    constexpr std::int64_t kLargest = 10'000'000;  // a hundred metres
    if (hundredths <= 0 || hundredths > kLargest) return std::nullopt;
    return static_cast<std::int32_t>(hundredths);
}

/// The last part of "iso_a4_210x297mm".
std::optional<MediaSize> selfDescribed(std::string_view name) {
    if (std::ranges::count(name, '_') < 2) return std::nullopt;
    if (name.starts_with("custom_min_") || name.starts_with("custom_max_")) return std::nullopt;
    std::string_view size = name.substr(name.rfind('_') + 1);
    std::int64_t perUnit = 0;
    if (size.ends_with("mm")) perUnit = 100;
    if (size.ends_with("in")) perUnit = 2540;
    const std::size_t cross = size.find('x');
    if (perUnit == 0 || cross == std::string_view::npos) return std::nullopt;
    size.remove_suffix(2);
    const auto width = lengthOf(size.substr(0, cross), perUnit);
    const auto height = lengthOf(size.substr(std::min(cross + 1, size.size())), perUnit);
    if (!width || !height) return std::nullopt;
    return MediaSize{*width, *height};
}

}  // namespace

std::optional<MediaSize> mediaSizeOf(std::string_view name) {
    if (const auto size = selfDescribed(name)) return size;
    std::string plain = lowerCase(std::string(name));
    // Paper is white unless its name says otherwise.
    constexpr std::string_view kWhite = "-white";
    if (plain.ends_with(kWhite)) plain.resize(plain.size() - kWhite.size());
    const auto* const found = std::ranges::find(kNamedSizes, plain, &NamedSize::name);
    if (found == std::end(kNamedSizes)) return std::nullopt;
    return found->size;
}

bool sameSheet(const MediaSize& one, const MediaSize& other) {
    constexpr std::int32_t kTolerance = 50;
    return std::abs(one.width - other.width) <= kTolerance &&
           std::abs(one.height - other.height) <= kTolerance;
}

}  // namespace velmora::ctl
