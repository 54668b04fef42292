#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "harness/ipp_dump.h"
#include "harness/wire.h"

// Any bytes, as a response and as a request, read strictly and leniently:
// - the result does not depend on how the bytes are cut into pieces;
// - what the strict reader takes, the lenient one takes in the same way;
// - what parses is written, and read again as the same message, and then written as the same bytes.

namespace {

using namespace velmora;
using namespace velmora::testing;

struct Read {
    UniqueIppMessage message = newIppMessage();
    int result = 0;
    std::string dump;
};

/// Feeds pieces whose sizes `nextSize` gives, each in a block of its own, so that the sanitizer
/// sees a byte read beyond it.
template <class NextSize>
Read readInPieces(const Bytes& bytes, IppReadMode mode, const IppReadPolicy& policy,
                  NextSize nextSize) {
    Read read;
    IppReader reader(*read.message, mode, policy);
    const auto oneByte = std::make_unique<std::uint8_t[]>(1);
    for (std::size_t at = 0; at < bytes.size() || at == 0;) {
        const std::size_t size = std::min(nextSize(), bytes.size() - at);
        if (size == 1) {
            oneByte[0] = bytes[at];
            read.result = reader.feed(oneByte.get(), 1);
        } else {
            const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            const Bytes piece(start, start + static_cast<std::ptrdiff_t>(size));
            read.result = reader.feed(piece.data(), piece.size());
        }
        at += size;
        if (bytes.empty()) break;
    }
    require(reader.complete() == (read.result == 1));
    read.dump = dumpOf(*read.message);
    return read;
}

/// Piece sizes that change with any byte, those after the end tag included: the fuzzer chooses.
class Sizes {
  public:
    explicit Sizes(const Bytes& bytes) {
        for (const std::uint8_t byte : bytes)
            state_ = (state_ ^ byte) * 0x01000193u;
    }
    std::size_t operator()() {
        state_ = state_ * 1664525u + 1013904223u;
        const std::uint32_t kind = state_ >> 28;
        return kind < 8 ? state_ >> 8 & 7 : state_ >> 8 & 0x1FF;  // 0 is a piece too
    }

  private:
    std::uint32_t state_ = 0x811C9DC5u;
};

Read read(const Bytes& bytes, IppReadMode mode, const IppReadPolicy& policy) {
    Read whole = readInPieces(bytes, mode, policy, [&] { return bytes.size(); });
    const Read pieces = readInPieces(bytes, mode, policy, Sizes(bytes));
    require(pieces.result == whole.result && pieces.dump == whole.dump);
    // Byte by byte is slow; the short inputs show what there is to see.
    if (bytes.size() <= 512) {
        const Read single = readInPieces(bytes, mode, policy, [] { return std::size_t{1}; });
        require(single.result == whole.result && single.dump == whole.dump);
    }
    return whole;
}

void requireRoundTrip(const Read& first, IppReadMode mode, const IppReadPolicy& policy) {
    const bool isResponse = mode == IppReadMode::response;
    // The vendor's operation is written by another id than it is read by, and one that is not
    // known cannot be written.
    const IppOperation operation = first.message->operation();
    const bool comesBack = isResponse || (operation != IppOperation::vendorOperation &&
                                          operation != IppOperation::unknown);
    const Bytes written = encoded(*first.message, isResponse);
    if (!comesBack) {
        require(written.empty() == (operation == IppOperation::unknown));
        return;
    }
    require(!written.empty());
    const Read second = readInPieces(written, mode, policy, [&] { return written.size(); });
    require(second.result == 1 && second.dump == first.dump);
    require(encoded(*second.message, isResponse) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    constexpr IppReadPolicy kStrict;
    constexpr IppReadPolicy kLenient{.keepUnknownKinds = true};
    for (const IppReadMode mode : {IppReadMode::response, IppReadMode::request}) {
        const Read strict = read(bytes, mode, kStrict);
        const Read lenient = read(bytes, mode, kLenient);
        if (strict.result == 1) {
            require(lenient.result == 1 && lenient.dump == strict.dump);
            requireRoundTrip(strict, mode, kStrict);
        } else if (lenient.result == 1) {
            requireRoundTrip(lenient, mode, kLenient);
        }
    }
    // A bound small enough to be met: refused or not, never more than that is held.
    const Read bounded =
        read(bytes, IppReadMode::response, {.keepUnknownKinds = true, .maxStoredBytes = 3000});
    require(bounded.result >= -2 && bounded.result <= 1);
    return 0;
}
