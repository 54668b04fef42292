#pragma once

namespace velmora {

enum class EventReset {
    Manual,  ///< stays signalled until it is reset
    Auto,    ///< a wait that it ends takes the signal
};

/// A Win32 event as its users see it, without the Windows header.
class Event {
  public:
    virtual ~Event() = default;

    virtual void set() = 0;
    virtual void reset() = 0;
    /// Releases the threads that wait at this moment (all of them for a manual-reset event, one for
    /// an auto-reset event) and leaves the event unsignalled. A thread that is not waiting yet
    /// misses the pulse, and so may, on Windows, one that the kernel has taken out of its wait for
    /// a moment: whoever needs a pulse to arrive repeats it.
    virtual void pulse() = 0;
    /// Waits without limit.
    virtual void wait() = 0;
};

}  // namespace velmora
