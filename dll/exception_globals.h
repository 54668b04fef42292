#pragma once

namespace velmora {

/// Gives back what the C++ runtime keeps for this thread's exceptions, if anything. For a thread
/// that ends, and for one that begins: Windows uses the ids of threads again, also of those that
/// were ended without a word.
void releaseExceptionGlobals() noexcept;

}  // namespace velmora
