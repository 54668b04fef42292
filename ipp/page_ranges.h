#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace velmora {

/// The pages of a job as its user types them: numbers and ranges separated by commas, such as "1-3,
/// 7, 10-12". Spaces may be around every number, dash and comma, other blanks not; a comma may end
/// the text.
class PageRanges {
  public:
    struct Range {
        std::uint32_t upper;
        std::uint32_t lower;

        bool operator==(const Range&) const = default;
    };

    /// The text is malformed.
    class ParseErrorException {};

    /// Throws ParseErrorException when the text is malformed or without any number, or when a
    /// number needs more than 32 bits: a page that was not typed must not be printed instead.
    explicit PageRanges(std::string_view text);

    /// The same without an exception for a text that is not valid: nothing then. For jobs, most of
    /// which have an empty text: throwing takes memory and time from each of them.
    static std::optional<PageRanges> parse(std::string_view text);

    /// Sorts by lower bound and joins ranges that overlap or touch.
    void normalise() noexcept;

    /// In the order of the text, or ascending and disjoint after normalise().
    std::span<const Range> ranges() const noexcept { return ranges_; }

  private:
    PageRanges() = default;
    /// False when the text is not valid.
    bool read(std::string_view text);

    std::vector<Range> ranges_;
};

}  // namespace velmora
