#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "ipp/encoder.h"
#include "ipp/reader.h"

namespace velmora::testing {

using Bytes = std::vector<std::uint8_t>;

/// An encoded message, put together field by field.
class Wire {
  public:
    Wire() { bytes_.reserve(256); }

    Wire& u8(std::initializer_list<unsigned> octets) {
        for (const unsigned octet : octets)
            bytes_.push_back(static_cast<std::uint8_t>(octet));
        return *this;
    }
    Wire& u16(unsigned number) { return u8({number >> 8 & 0xFF, number & 0xFF}); }
    Wire& u32(std::uint32_t number) { return u16(number >> 16).u16(number & 0xFFFF); }
    Wire& raw(std::string_view text) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }
    Wire& raw(const Bytes& more) {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    /// A text after its 16-bit length.
    Wire& text(std::string_view text) { return u16(static_cast<unsigned>(text.size())).raw(text); }
    /// Tag, name and the value's octets.
    Wire& value(unsigned tag, std::string_view name, std::string_view octets) {
        return u8({tag}).text(name).text(octets);
    }
    Wire& value(unsigned tag, std::string_view name, std::initializer_list<unsigned> octets) {
        return u8({tag}).text(name).u16(static_cast<unsigned>(octets.size())).u8(octets);
    }

    const Bytes& bytes() const { return bytes_; }

  private:
    Bytes bytes_;
};

/// Version 1.0, status 0, request id bytes 01 00 00 00.
inline Wire responseHeader() {
    return Wire().u8({0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00});
}

/// Empty if the encoder refuses.
inline Bytes encoded(const IppMessage& message, bool isResponse = false) {
    UniqueIppBlockBuffer buffer;
    if (encodeIppMessage(message, isResponse, buffer) != 0) return {};
    Bytes bytes(buffer->size());
    buffer->flatten(bytes.data());
    return bytes;
}

/// A message and what the last feed returned.
struct Parsed {
    UniqueIppMessage message = newIppMessage();
    int result = 0;
};

inline Parsed parsed(const Bytes& bytes, IppReadMode mode = IppReadMode::response,
                     const IppReadPolicy& policy = {}) {
    Parsed parsed;
    IppReader reader(*parsed.message, mode, policy);
    parsed.result = reader.feed(bytes.data(), bytes.size());
    return parsed;
}

}  // namespace velmora::testing
