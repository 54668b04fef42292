#include "velmoractl/text/progress_bar.h"

#include <string>

#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr int kWidth = 40;

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total, bool visible)
    : total_(total), visible_(visible && isConsole(STD_ERROR_HANDLE)) {}

void ProgressBar::show(std::uint64_t done) {
    if (!visible_) return;
    const int percent = total_ == 0 ? 100 : static_cast<int>(done * 100 / total_);
    if (percent == shownPercent_) return;
    shownPercent_ = percent;
    const int filled = percent * kWidth / 100;
    writeError("\r[" + std::string(static_cast<std::size_t>(filled), '#') +
               std::string(static_cast<std::size_t>(kWidth - filled), '.') + "] " +
               std::to_string(percent) + " %");
    open_ = true;
}

void ProgressBar::end() {
    if (open_) writeError("\n");
    open_ = false;
}

}  // namespace velmora::ctl
