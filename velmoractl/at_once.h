#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace velmora::ctl {

/// Calls `body` with 0 to `count` - 1, `width` at a time, since asking printers is mostly waiting.
/// The next one begins as soon as one has ended. An exception in it ends the program.
inline void atOnce(std::size_t count, const std::function<void(std::size_t)>& body,
                   std::size_t width = 16) {
    std::atomic<std::size_t> next{0};
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min(width, count); ++i) {
        threads.emplace_back([&] {
            for (std::size_t one = next++; one < count; one = next++)
                body(one);
        });
    }
}

}  // namespace velmora::ctl
