#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::testing {

// A second implementation of the IPP reader and writer for tests to compare with, written from RFC
// 2910 and from what this program promises beyond it: byte by byte, with tables of its own. It
// includes nothing of the product, so that a mistake there is not repeated here. Written for
// clarity and not for speed.

/// A kind's code is its place in the table of kinds: 0 to 2 for the out-of-band kinds, then one bit
/// each. The bit after the last: octets of a tag that is not in the table.
inline constexpr std::uint32_t kModelRawKind = 1u << 19;

struct ModelValue {
    std::uint32_t kind = 0;
    std::uint8_t tag = 0;                    ///< of kModelRawKind alone
    std::array<std::int64_t, 11> numbers{};  ///< in the order of the wire
    std::string first;                       ///< the text or the octets; the language of two texts
    std::string second;                      ///< the text after a language

    bool operator==(const ModelValue&) const = default;
};

struct ModelAttribute {
    int nameIndex = -1;  ///< -1: the first value is the name, a keyword
    std::uint32_t instance = 0;
    std::vector<ModelValue> values;

    bool operator==(const ModelAttribute&) const = default;
};

struct ModelMessage {
    std::array<std::uint8_t, 2> version{};
    std::uint32_t code = 0;  ///< a response's status; a request's internal code, or 0xFFFFFFFF
    std::array<std::uint8_t, 4> requestId{};
    std::array<std::vector<ModelAttribute>, 4> groups;  ///< operation, job, printer, unsupported

    bool operator==(const ModelMessage&) const = default;
};

/// Takes a message byte by byte.
class ModelReader {
  public:
    ModelReader(bool isResponse, bool isLenient) : isResponse_(isResponse), isLenient_(isLenient) {}

    void take(std::uint8_t byte);

    /// 0: needs more; 1: the end tag was read; -1: a syntax error.
    int result = 0;
    ModelMessage message;

  private:
    void choose(std::uint8_t next);
    void expect(int state, std::size_t bytes);
    void handle();
    void handleDelimiter(std::uint8_t tag);
    void handleValueTag(std::uint8_t tag);
    void handleName();
    void handleValue();
    std::uint32_t number(std::size_t at, std::size_t bytes) const;
    std::optional<std::string> textAt(std::size_t& at) const;

    const bool isResponse_;
    const bool isLenient_;
    int state_ = 0;
    std::size_t needed_ = 2;
    bool taken_ = false;  ///< the field has been handled, and the next one is not chosen yet
    std::vector<std::uint8_t> field_;
    std::size_t group_ = 0;
    std::array<std::uint32_t, 4> instances_{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    bool hasAttribute_ = false;  ///< since the last delimiter
    ModelValue value_;           ///< kind and tag of the value that comes
    std::size_t nameLength_ = 0;
    std::size_t valueLength_ = 0;
};

/// The message's bytes; empty if it cannot be written.
std::optional<std::vector<std::uint8_t>> modelWritten(const ModelMessage& message, bool isResponse);

}  // namespace velmora::testing
