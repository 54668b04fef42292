#pragma once

namespace velmora {

/// Releases what the C++ runtime keeps for this thread's exceptions, if anything. For a thread that
/// ends, and for one that begins: Windows reuses the ids of threads, also of those that were
/// terminated.
void releaseExceptionGlobals() noexcept;

}  // namespace velmora
