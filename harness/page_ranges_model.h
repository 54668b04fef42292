#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::testing {

// A second implementation of page ranges for tests to compare with, written for clarity and not for
// speed: the text is split at its commas, and ranges are joined pair by pair until none touch.

/// (lower, upper)
using ModelRanges = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

inline std::string_view withoutSpaces(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

inline std::optional<std::uint64_t> modelNumber(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return {};
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    if (text.size() > 10) return {};
    const std::uint64_t number = text.empty() ? 0 : std::stoull(std::string(text));
    if (number > 0xFFFFFFFF) return {};
    return number;
}

/// Empty for a malformed text.
inline std::optional<ModelRanges> modelParse(std::string_view text) {
    ModelRanges ranges;
    while (true) {
        const std::size_t comma = text.find(',');
        const bool last = comma == std::string_view::npos;
        const std::string_view item = withoutSpaces(text.substr(0, comma));
        if (item.empty() && last && !ranges.empty()) return ranges;  // after a comma at the end
        const std::size_t dash = item.find('-');
        const auto lower = modelNumber(withoutSpaces(item.substr(0, dash)));
        const auto upper = dash == std::string_view::npos
                               ? lower
                               : modelNumber(withoutSpaces(item.substr(dash + 1)));
        if (!lower || !upper || *lower > *upper) return {};
        ranges.emplace_back(*lower, *upper);
        if (last) return ranges;
        text.remove_prefix(comma + 1);
    }
}

inline ModelRanges modelNormalised(ModelRanges ranges) {
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        for (std::size_t j = i + 1; j < ranges.size(); ++j) {
            if (ranges[i].first > ranges[j].second + 1 || ranges[j].first > ranges[i].second + 1) {
                continue;
            }
            ranges[i].first = std::min(ranges[i].first, ranges[j].first);
            ranges[i].second = std::max(ranges[i].second, ranges[j].second);
            ranges.erase(ranges.begin() + static_cast<std::ptrdiff_t>(j));
            j = i;  // the joined range may touch what it did not touch before
        }
    }
    std::sort(ranges.begin(), ranges.end());
    return ranges;
}

}  // namespace velmora::testing
