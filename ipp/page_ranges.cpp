#include "ipp/page_ranges.h"

#include <algorithm>
#include <limits>

namespace velmora {
namespace {

class Scanner {
  public:
    explicit Scanner(std::string_view text) noexcept : rest_(text) {}

    bool atEnd() const noexcept { return rest_.empty(); }

    void skipSpaces() noexcept {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    }

    bool take(char wanted) noexcept {
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// The number at the position, and the spaces after it; nothing if there is none of 32 bits.
    std::optional<std::uint32_t> number() noexcept {
        if (rest_.empty() || !isDigit(rest_.front())) return std::nullopt;
        std::uint64_t value = 0;
        while (!rest_.empty() && isDigit(rest_.front())) {
            value = value * 10 + static_cast<std::uint64_t>(rest_.front() - '0');
            if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
            rest_.remove_prefix(1);
        }
        skipSpaces();
        return static_cast<std::uint32_t>(value);
    }

  private:
    static bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

    std::string_view rest_;
};

}  // namespace

PageRanges::PageRanges(std::string_view text) {
    if (!read(text)) throw ParseErrorException();
}

std::optional<PageRanges> PageRanges::parse(std::string_view text) {
    PageRanges pages;
    if (!pages.read(text)) return std::nullopt;
    return pages;
}

bool PageRanges::read(std::string_view text) {
    Scanner scanner(text);
    scanner.skipSpaces();
    do {
        const std::optional<std::uint32_t> lower = scanner.number();
        if (!lower) return false;
        std::optional<std::uint32_t> upper = lower;
        if (scanner.take('-')) {
            scanner.skipSpaces();
            upper = scanner.number();
            if (!upper || *lower > *upper) return false;
        }
        if (!scanner.atEnd() && !scanner.take(',')) return false;
        ranges_.push_back({*upper, *lower});
        scanner.skipSpaces();
    } while (!scanner.atEnd());
    return true;
}

void PageRanges::normalise() noexcept {
    if (ranges_.empty()) return;
    std::sort(ranges_.begin(), ranges_.end(),
              [](const Range& a, const Range& b) { return a.lower < b.lower; });
    std::size_t kept = 0;
    for (std::size_t i = 1; i < ranges_.size(); ++i) {
        Range& current = ranges_[kept];
        // 64 bits: one more than the highest page is not page 0.
        if (ranges_[i].lower <= std::uint64_t{current.upper} + 1) {
            current.upper = std::max(current.upper, ranges_[i].upper);
        } else {
            ranges_[++kept] = ranges_[i];
        }
    }
    ranges_.erase(ranges_.begin() + static_cast<std::ptrdiff_t>(kept) + 1, ranges_.end());
}

}  // namespace velmora
