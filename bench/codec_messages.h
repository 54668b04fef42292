#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace velmora::bench {

/// Builds, encodes and frees the Print-Job request of a new port's job template; the bytes go to
/// `area`, which has room for them, and their number is the result. The job's attributes are there
/// `jobs` times: once in a real request.
std::size_t writeOurs(std::span<std::uint8_t> area, int jobs);
/// The same bytes by libcups.
std::size_t writePeers(std::span<std::uint8_t> area, int jobs);

/// The Print-Job request's bytes with the operation-id replaced by a status code.
std::vector<std::uint8_t> printJobAsAnswer();

/// A printer's answer to Get-Printer-Attributes with that many attributes, about 100 bytes each,
/// of kinds that every reader takes.
std::vector<std::uint8_t> printerAnswer(int attributes);

}  // namespace velmora::bench
