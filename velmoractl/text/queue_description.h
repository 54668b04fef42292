#pragma once

#include <string>

namespace velmora::ctl {

/// A printer of the spooler (a queue), as a fleet file and the verbs describe it. Texts are in the
/// ANSI code page; an empty one counts as not given, except `name`, `port` and `driver`, which a
/// new queue needs. docs/fleet-setup.md describes the keys.
struct QueueDescription {
    std::string name;
    std::string port;
    std::string driver;
    std::string share;  ///< the name that it is shared under
    std::string location;
    std::string comment;

    bool operator==(const QueueDescription&) const = default;
};

}  // namespace velmora::ctl
