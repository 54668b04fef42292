#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "harness/page_ranges_model.h"
#include "ipp/page_ranges.h"

// Any text: parser and model agree on what is malformed, on the ranges and on their normal form.

namespace {

using velmora::PageRanges;
using velmora::testing::ModelRanges;

ModelRanges rangesOf(const PageRanges& pages) {
    ModelRanges ranges;
    for (const PageRanges::Range& range : pages.ranges()) {
        ranges.emplace_back(range.lower, range.upper);
    }
    return ranges;
}

std::optional<PageRanges> parse(std::string_view text) {
    try {
        return PageRanges(text);
    } catch (const PageRanges::ParseErrorException&) {
        return {};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::optional<PageRanges> pages = parse(text);
    const std::optional<ModelRanges> model = velmora::testing::modelParse(text);
    if (pages.has_value() != model.has_value()) std::abort();
    if (!pages) return 0;
    if (rangesOf(*pages) != *model) std::abort();
    pages->normalise();
    if (rangesOf(*pages) != velmora::testing::modelNormalised(*model)) std::abort();
    return 0;
}
