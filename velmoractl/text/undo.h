#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "velmoractl/command_error.h"

namespace velmora::ctl {

/// What a command of several steps has done so far, and how each step is undone.
class Undo {
  public:
    /// After a step. `thing` names what it has made or changed; `back` says whether that is as it
    /// was before.
    void done(std::string thing, std::function<bool()> back) {
        steps_.emplace_back(std::move(thing), std::move(back));
    }

    /// Undoes all steps, the last first, as far as possible. The error for the caller to throw:
    /// `reason`, and what is there now.
    CommandError takeBack(const CommandError& reason) {
        const bool any = !steps_.empty();
        std::string left;
        while (!steps_.empty()) {
            const auto [thing, back] = std::move(steps_.back());
            steps_.pop_back();
            if (!back()) left += (left.empty() ? "" : ", ") + thing;
        }
        const std::string rest = !any           ? "nothing has been changed"
                                 : left.empty() ? "what was done before has been taken back"
                                                : "this could not be taken back: " + left;
        return {reason.code(), reason.subject(), reason.why() + "; " + rest, reason.remedy(),
                reason.keyword()};
    }

  private:
    std::vector<std::pair<std::string, std::function<bool()>>> steps_;
};

}  // namespace velmora::ctl
