#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <thread>
#include <vector>

namespace velmora::ctl {

/// Calls `body` with 0 to `count` - 1, `width` at a time, since asking printers is mostly waiting.
/// The next one begins as soon as one has ended. A thread that cannot be started is done without;
/// the caller's own thread works too. When `body` throws no further call begins, and the first
/// exception leaves once all have ended.
inline void atOnce(std::size_t count, const std::function<void(std::size_t)>& body,
                   std::size_t width = 16) {
    std::atomic<std::size_t> next{0};
    std::atomic_flag failed;
    std::exception_ptr thrown;
    const auto work = [&]() noexcept {
        try {
            for (std::size_t one = next++; one < count; one = next++)
                body(one);
        } catch (...) {
            next = count;
            if (!failed.test_and_set()) thrown = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> threads;
        try {
            for (std::size_t i = 1; i < std::min(width, count); ++i)
                threads.emplace_back(work);
        } catch (const std::exception&) {
            // Those that run take the rest.
        }
        work();
    }
    if (thrown) std::rethrow_exception(thrown);
}

}  // namespace velmora::ctl
