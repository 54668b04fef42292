#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ipp/block_buffer.h"
#include "ipp/message.h"

namespace velmora {

// The body of an application/ipp request or response (RFC 2910, 3.1):
//
//   version            2   as the message holds it
//   operation or status 2  big-endian; the operation by the `written` column of its table
//   request id         4   as it is in memory
//   groups                 operation, unsupported, printer, job
//   end tag            1   0x03
//
// Group: a delimiter tag for each run of attributes with the same instance, then the run.
// Attribute: for each value its tag (1), the length of the name (2) and the name, or a length of 0
// from the second value on, the length of the value (2) and the value.

/// Writes the message into a new buffer. 0; or -1 with `buffer` null when memory runs out or when
/// the message cannot be written:
/// - a name or a value is longer than the 16 bits of its length (cutting it would change what the
///   user set, and its low 16 bits would make the rest of the message garbage);
/// - a request's operation has no row in the table;
/// - an attribute's name index is neither -1 nor in the table, or its own name is empty or not a
///   text (without a name its values would read as those of the attribute before it).
int encodeIppMessage(const IppMessage& message, bool isResponse,
                     UniqueIppBlockBuffer& buffer) noexcept;

/// The number of bytes that encodeIppMessage() writes; 0 when the message cannot be written.
std::size_t encodedIppSize(const IppMessage& message, bool isResponse) noexcept;

/// Writes the message to the area. The number of bytes written; 0 when the message cannot be
/// written or the area is too small. Needs no memory.
std::size_t encodeIppMessage(const IppMessage& message, bool isResponse,
                             std::span<std::uint8_t> area) noexcept;

}  // namespace velmora
