#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::testing {

/// Builds packed blocks byte by byte, without the code under test.
class Bytes {
  public:
    Bytes& u8(unsigned value) {
        data_.push_back(static_cast<std::byte>(value));
        return *this;
    }
    Bytes& u32(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            u8((value >> shift) & 0xFF);
        return *this;
    }
    Bytes& text(const std::string& value) {
        for (const char c : value)
            u8(static_cast<unsigned char>(c));
        return u8(0);
    }
    const std::vector<std::byte>& data() const { return data_; }

  private:
    std::vector<std::byte> data_;
};

/// The record of a port of that name which prints to one printer, or if `url` is empty to no
/// groups; all else is as in a new port.
inline std::vector<std::byte> portRecord(const std::string& name, const std::string& url) {
    return Bytes()
        .text(name)
        .u8(url.empty() ? 0 : 1)  // singleTarget
        .text(url)                // printerUrl
        .u8(0)                    // useAuthentication
        .text("")                 // userName
        .text("")                 // password
        .u32(0)                   // count of targetIds
        .u32(10)                  // job-priority
        .text("no-hold")
        .u32(1)             // copies
        .u32(600)           // printer-resolution: cross-feed
        .u32(600)           // feed
        .u32(3)             // units
        .u32(4)             // print-quality
        .text("")           // page-ranges
        .text("A4")         // media
        .u32(3)             // orientation-requested
        .u32(1)             // number-up
        .text("one-sided")  // sides
        .text("separate-documents-uncollated-copies")
        .u32(3)        // finishings
        .text("none")  // job-sheets
        .u8(0)         // ipp-attribute-fidelity
        .data();
}

/// The record of a new port of that name.
inline std::vector<std::byte> defaultRecord(const std::string& name) {
    return portRecord(name, "");
}

}  // namespace velmora::testing
