#pragma once

#include <string>
#include <vector>

#include "velmoractl/text/queue_description.h"

namespace velmora::ctl {

// The spooler's queues ("printers" to Windows) and printer drivers; `server` as "\\NAME", or empty
// for this computer. Every failure is a CommandError that begins with `what`.

struct Queue {
    QueueDescription description;
    bool isDefault = false;  ///< of this user on this computer
    unsigned jobs = 0;       ///< that wait in it
};

/// EnumPrinters, in the spooler's order.
std::vector<Queue> spoolerQueues(const std::string& server, const std::string& what);

struct Driver {
    std::string name;
    std::string environment;  ///< such as "Windows x64"
    unsigned version = 0;     ///< 3 or 4: its kind
};

/// EnumPrinterDrivers of the server's own environment.
std::vector<Driver> spoolerDrivers(const std::string& server, const std::string& what);

// Each reads back what it has stored, and fails unless that is what was to be stored.

/// AddPrinter. Some spoolers accept a port that does not exist, or a name that does: the caller has
/// checked both.
void addQueue(const std::string& server, const QueueDescription& queue, const std::string& what);
/// SetPrinter: all texts of the queue of that name.
void changeQueue(const std::string& server, const QueueDescription& queue, const std::string& what);
/// DeletePrinter. ExitCode::conflict if jobs are waiting in it: Windows would keep the queue until
/// they have ended.
void removeQueue(const std::string& server, const std::string& name, const std::string& what);

/// SetDefaultPrinter: this user's choice, on this computer.
void makeDefault(const std::string& name, const std::string& what);

}  // namespace velmora::ctl
