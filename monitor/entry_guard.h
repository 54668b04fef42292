#pragma once

#include <utility>

namespace velmora {

/// Runs the body of an entry that the spooler calls. Nothing thrown may cross into the spooler:
/// whatever leaves the body (memory that has run out, in practice) becomes `failure`.
template <class Result, class Body>
Result guardedEntry(Result failure, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return failure;
    }
}

}  // namespace velmora
