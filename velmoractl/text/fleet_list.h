#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/printer_address.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

/// A job template that a printer is asked about, and the ports that send it.
struct TemplateUse {
    std::shared_ptr<const JobTemplate> job;
    std::vector<std::string> ports;  ///< in the ANSI code page; none: a new port's template
};

/// One printer of a fleet.
struct FleetPrinter {
    PrintTarget target;
    std::vector<TemplateUse> uses;  ///< at least one; no template twice

    /// In the ANSI code page.
    std::vector<std::string> ports() const;
};

/// Printers, each once however many ports print to it. The same URL with another user is another
/// printer: it may answer otherwise.
class FleetList {
  public:
    /// A port that prints to the printer.
    void add(const PrintTarget& target, const JobTemplate& job, const std::string& port);
    /// A printer that may have no port: if it has none, a new port's template is asked about.
    void add(const PrintTarget& target);

    /// In the order in which they came.
    std::vector<FleetPrinter> printers() const;

  private:
    FleetPrinter& enter(const PrintTarget& target);

    using Key = std::tuple<std::string, bool, std::string, std::string>;
    std::map<Key, std::size_t> places_;
    std::vector<FleetPrinter> printers_;
};

}  // namespace velmora::ctl
