#pragma once

#include <windows.h>

#include <functional>
#include <mutex>
#include <vector>

namespace velmora::testing {

/// Records the messages that are sent to the windows of one thread, for what shows no other way:
/// what is asked or told how often, and in which order. One at a time.
class SentMessages {
  public:
    struct Message : CWPSTRUCT {
        int control;  ///< the window's number in its dialog
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
