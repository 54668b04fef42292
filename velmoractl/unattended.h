#pragma once

#include <functional>
#include <system_error>
#include <utility>

#include "platform/threads.h"

namespace velmora::ctl {

/// Runs `body`, which must not throw, in a thread that nobody waits for. Throws std::system_error
/// if no thread can be started. Not std::thread: mingw's loses the start of one that is detached
/// while another ends.
inline void startUnattended(std::function<void()> body) {
    if (!Thread::startDetached(std::move(body)))
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

}  // namespace velmora::ctl
