#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/require.h"
#include "harness/ipp_message_check.h"
#include "harness/wire.h"

// Any bytes, as a response and as a request, read strictly and leniently: reader and writer do what
// their model does. What was read before an error is compared and written as well.

namespace {

using namespace velmora;
using namespace velmora::testing;

/// For an area of any length the writer must give the same bytes or none.
void requireWritten(const IppMessage& message, const ModelMessage& model, bool isResponse) {
    const std::optional<std::vector<std::uint8_t>> expected = modelWritten(model, isResponse);
    const Bytes written = encoded(message, isResponse);
    require(written.empty() == !expected);
    require(encodedIppSize(message, isResponse) == written.size());
    if (!expected) return;
    require(written == *expected);
    Bytes area(written.size());
    require(encodeIppMessage(message, isResponse, area) == area.size() && area == written);
    require(encodeIppMessage(message, isResponse, std::span(area).first(area.size() - 1)) == 0);
}

/// In two pieces; 0 for one.
void requireAsModel(const Bytes& bytes, bool isResponse, bool isLenient, std::size_t cut) {
    ModelReader model(isResponse, isLenient);
    for (const std::uint8_t byte : bytes)
        model.take(byte);

    const UniqueIppMessage message = newIppMessage();
    IppReader reader(*message, isResponse ? IppReadMode::response : IppReadMode::request,
                     {.keepUnknownKinds = isLenient});
    int result = 0;
    if (cut != 0) result = reader.feed(bytes.data(), cut);
    result = reader.feed(bytes.data() + cut, bytes.size() - cut);
    require(result == model.result);
    require(modelOf(*message) == model.message);
    requireWritten(*message, model.message, isResponse);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own, so that a byte read after it is noticed.
    const Bytes bytes(data, data + size);
    std::size_t cut = 0;
    for (const std::uint8_t byte : bytes)
        cut = cut * 31 + byte;
    cut %= size + 1;
    requireAsModel(bytes, true, false, 0);
    requireAsModel(bytes, true, true, cut);
    requireAsModel(bytes, false, false, cut);
    requireAsModel(bytes, false, true, 0);
    return 0;
}
