#include "ui/kit/number_text.h"

#include <charconv>
#include <limits>

namespace velmora {
namespace {

constexpr std::string_view kBlanks = " \t";

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Replaces one placeholder at the front of `rest`, which begins after its percent sign.
bool fillPlaceholder(std::string_view& rest, std::span<const int> numbers, std::string& out) {
    if (rest.starts_with('%') || rest.starts_with('n')) {
        out += rest.front() == 'n' ? '\n' : '%';
        rest.remove_prefix(1);
        return true;
    }
    constexpr std::string_view kInteger = "!d!";
    if (rest.empty() || !isDigit(rest.front()) || !rest.substr(1).starts_with(kInteger))
        return false;
    const std::size_t number = static_cast<std::size_t>(rest.front() - '0');
    if (number == 0 || number > numbers.size()) return false;
    out += std::to_string(numbers[number - 1]);
    rest.remove_prefix(1 + kInteger.size());
    return true;
}

}  // namespace

std::optional<std::int64_t> parseNumber(std::string_view text) {
    std::string_view digits = withoutBlanks(text);
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+')) digits.remove_prefix(1);
    if (digits.empty() || !isDigit(digits.front())) return std::nullopt;

    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (end != digits.data() + digits.size()) return std::nullopt;
    if (error == std::errc::result_out_of_range) value = std::numeric_limits<std::int64_t>::max();
    return negative ? -value : value;
}

std::optional<std::string> formatNumbers(std::string_view text, std::span<const int> numbers) {
    std::string out;
    while (!text.empty()) {
        const std::size_t percent = text.find('%');
        out += text.substr(0, percent);
        if (percent == std::string_view::npos) break;
        text.remove_prefix(percent + 1);
        if (!fillPlaceholder(text, numbers, out)) return std::nullopt;
    }
    return out;
}

std::optional<std::string> formatNumbers(std::string_view text,
                                         std::initializer_list<int> numbers) {
    return formatNumbers(text, std::span(numbers.begin(), numbers.size()));
}

}  // namespace velmora
