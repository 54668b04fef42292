#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <vector>

namespace velmora::testing {

/// Records messages sent to the windows of one thread, to observe how often and in which order
/// controls are read or changed. Only one may exist at a time.
class SentMessages {
  public:
    struct Message : CWPSTRUCT {
        int control;  ///< the window's control id
    };
    using Wanted = std::function<bool(const CWPSTRUCT&)>;

    /// From now on, the messages to windows of `window`'s thread that `wanted` accepts.
    SentMessages(HWND window, Wanted wanted);
    SentMessages(const SentMessages&) = delete;
    SentMessages& operator=(const SentMessages&) = delete;
    ~SentMessages();

    std::vector<Message> take();

  private:
    static LRESULT CALLBACK see(int code, WPARAM wParam, LPARAM lParam);

    static SentMessages* current_;
    Wanted wanted_;
    HHOOK hook_;
    std::mutex mutex_;
    std::vector<Message> messages_;
};

}  // namespace velmora::testing
