#pragma once

#include <set>
#include <string>
#include <vector>

#include "velmoractl/spooler_queues.h"
#include "velmoractl/verbs/session.h"

namespace velmora::ctl {

class MonitorChannel;

// Checks of queues before anything is made. The spooler itself does not refuse all of this
// everywhere; each throws a CommandError that begins with `what`.

/// What a new queue's name may not be: Windows refuses such names or takes them apart.
void checkNewQueueName(const std::string& name, const std::string& what);
/// ExitCode::conflict if there is a queue of that name, capital and small letters alike.
void checkQueueNameIsFree(const std::vector<Queue>& queues, const std::string& name,
                          const std::string& what);
/// The driver's name as the server has it, capital and small letters alike. ExitCode::notFound if
/// there is none.
std::string requireDriver(const std::vector<Driver>& drivers, const std::string& driver,
                          const std::string& what);
/// ExitCode::notFound unless every port of the text is one of the spooler's, or of `coming`.
void checkQueuePort(const MonitorChannel& channel, const std::string& port, const std::string& what,
                    const std::set<std::string>& coming = {});

/// The queue of exactly that name. ExitCode::notFound; one that is written differently is named.
const Queue& requireQueue(const std::vector<Queue>& queues, const std::string& name,
                          const std::string& what);

std::vector<QueueDescription> descriptionsOf(const std::vector<Queue>& queues);

/// The form in the answers of the verbs.
Json described(const Queue& queue);

}  // namespace velmora::ctl
