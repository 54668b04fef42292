#pragma once

#include <cstddef>

namespace velmora {

/// A document on its way to one printer or to several.
class PrintJob {
  public:
    virtual ~PrintJob() = default;

    /// Hands on the next piece of the document; length 0 ends the document. False when the piece
    /// could not be taken (or, at the end, when the printer did not accept the job).
    virtual bool write(const void* data, std::size_t length) = 0;

    /// Whether the job cannot proceed. Asked once, right after creation.
    virtual bool failed() { return false; }
};

}  // namespace velmora
