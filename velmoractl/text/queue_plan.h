#pragma once

#include <set>
#include <string>
#include <vector>

#include "velmoractl/text/changes.h"
#include "velmoractl/text/queue_description.h"
#include "velmoractl/text/text_codec.h"

namespace velmora::ctl {

/// The changes that lead from the spooler's queues to those of a file.
struct QueuePlan {
    std::vector<Change> changes;
    std::vector<QueueDescription> toAdd;
    /// As they are to be: with what the file does not name as it is stored.
    std::vector<QueueDescription> toChange;
    std::vector<std::string> toRemove;
};

/// `wanted` over `stored`: an empty text of the file says nothing.
QueueDescription merged(const QueueDescription& stored, const QueueDescription& wanted);

/// The differences between two descriptions of one queue.
std::vector<Difference> differences(const QueueDescription& before, const QueueDescription& after,
                                    const TextCodec& codec);

/// Queues are identified by their exact names. Those that the file does not name stay, unless
/// `removeOthers`: then those go that print to `ourPorts` alone. A queue of another monitor's port
/// is never removed.
QueuePlan planQueues(const std::vector<QueueDescription>& wanted,
                     const std::vector<QueueDescription>& stored,
                     const std::set<std::string>& ourPorts, bool removeOthers,
                     const TextCodec& codec);

/// The ports that one text names: the spooler writes several with commas between.
std::vector<std::string> portsOfQueue(const std::string& port);

/// Queues that print to the port once the plan has been carried out; by name.
std::vector<std::string> usersOfPort(const std::vector<QueueDescription>& stored,
                                     const QueuePlan& plan, const std::string& port);

}  // namespace velmora::ctl
