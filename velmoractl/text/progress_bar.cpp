#include "velmoractl/text/progress_bar.h"

#include <string>

#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr int kWidth = 40;

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total, bool visible)
    : total_(total), visible_(visible), console_(isConsole(STD_ERROR_HANDLE)) {}

void ProgressBar::show(std::uint64_t done) {
    const int percent = total_ == 0 ? 100 : static_cast<int>(done * 100 / total_);
    const int step = console_ ? 1 : 10;
    if (!visible_ || (shownPercent_ >= 0 && percent / step == shownPercent_ / step)) return;
    shownPercent_ = percent;
    const int filled = percent * kWidth / 100;
    const std::string bar = "[" + std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(kWidth - filled), '.') + "] " +
                            std::to_string(percent) + " %";
    writeError(console_ ? "\r" + bar : bar + "\n");
    open_ = console_;
}

void ProgressBar::end() {
    if (open_) writeError("\n");
    open_ = false;
}

}  // namespace velmora::ctl
