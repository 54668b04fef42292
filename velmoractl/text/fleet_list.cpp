#include "velmoractl/text/fleet_list.h"

#include <algorithm>

#include "ipp/job_template.h"

namespace velmora::ctl {

std::vector<std::string> FleetPrinter::ports() const {
    std::vector<std::string> names;
    for (const TemplateUse& use : uses)
        names.insert(names.end(), use.ports.begin(), use.ports.end());
    return names;
}

FleetPrinter& FleetList::enter(const PrintTarget& target) {
    const bool user = target.useAuthentication != 0;
    const auto [place, added] = places_.try_emplace(
        {target.url, user, user ? target.userName : "", user ? target.password : ""},
        printers_.size());
    if (added) printers_.push_back({target, {}});
    return printers_[place->second];
}

void FleetList::add(const PrintTarget& target, const JobTemplate& job, const std::string& port) {
    std::vector<TemplateUse>& uses = enter(target).uses;
    auto use = std::ranges::find_if(uses, [&](const TemplateUse& one) { return *one.job == job; });
    if (use == uses.end())
        use = uses.insert(uses.end(), {std::make_shared<const JobTemplate>(job), {}});
    if (std::ranges::find(use->ports, port) == use->ports.end()) use->ports.push_back(port);
}

void FleetList::add(const PrintTarget& target) {
    enter(target);
}

std::vector<FleetPrinter> FleetList::printers() const {
    std::vector<FleetPrinter> printers = printers_;
    for (FleetPrinter& one : printers) {
        if (one.uses.empty()) one.uses.push_back({std::make_shared<const JobTemplate>(), {}});
    }
    return printers;
}

}  // namespace velmora::ctl
