#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace velmora::ctl {

/// Calls `body` with 0 to `count` - 1, sixteen at a time: questions to printers are mostly waiting.
/// What it throws ends the program.
inline void atOnce(std::size_t count, const std::function<void(std::size_t)>& body) {
    constexpr std::size_t kAtOnce = 16;
    for (std::size_t begin = 0; begin < count; begin += kAtOnce) {
        std::vector<std::jthread> threads;
        for (std::size_t i = begin; i < std::min(begin + kAtOnce, count); ++i)
            threads.emplace_back([&body, i] { body(i); });
    }
}

}  // namespace velmora::ctl
