#pragma once

#include <cstdint>

namespace velmora::ctl {

/// A bar on the error output, if that is a console.
class ProgressBar {
  public:
    ProgressBar(std::uint64_t total, bool visible);
    ~ProgressBar() { end(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(std::uint64_t done);
    /// Leaves the line of the bar.
    void end();

  private:
    const std::uint64_t total_;
    const bool visible_;
    int shownPercent_ = -1;
    bool open_ = false;
};

}  // namespace velmora::ctl
