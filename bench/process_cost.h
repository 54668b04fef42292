#pragma once

#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "bench/report.h"

namespace velmora::bench {

/// Seconds of processor time of this process, in the kernel too. The platform counts it in steps of
/// 10 ms.
inline double cpuSeconds() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return time.dwHighDateTime * 4294967296.0 + time.dwLowDateTime;
    };
    return (ticks(kernel) + ticks(user)) / 1e7;
}

inline double committedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<double>(counters.PagefileUsage);
}

/// What a body has cost this process.
struct ProcessCost {
    double wall = 0;       ///< seconds
    double cpu = 0;        ///< seconds
    double peakBytes = 0;  ///< beyond what was there before
};

/// Runs `body` while another thread looks at the process's memory.
inline ProcessCost costOf(const std::function<void()>& body) {
    const double memory = committedBytes();
    double peak = memory;
    std::atomic<bool> done{false};
    std::thread watch([&] {
        for (; !done; Sleep(20))
            peak = std::max(peak, committedBytes());
    });
    ProcessCost cost;
    const double cpu = cpuSeconds();
    cost.wall = seconds(body);
    cost.cpu = cpuSeconds() - cpu;
    done = true;
    watch.join();
    cost.peakBytes = peak - memory;
    return cost;
}

}  // namespace velmora::bench
