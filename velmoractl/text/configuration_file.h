#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "velmoractl/text/json.h"
#include "velmoractl/text/queue_description.h"
#include "velmoractl/text/text_codec.h"

namespace velmora {
class CGroupsDB;
struct CGroupsDBNode;
struct JobTemplate;
struct PortConfig;
}  // namespace velmora

namespace velmora::ctl {

/// Ports and printer directory as one file holds them. docs/fleet-setup.md describes the file.
struct Configuration {
    Configuration();
    ~Configuration();
    Configuration(Configuration&&) noexcept;
    Configuration& operator=(Configuration&&) noexcept;

    std::vector<PortConfig> ports;
    bool hasPorts = false;  ///< false: the file says nothing about ports
    /// Null: the file says nothing about the directory.
    std::unique_ptr<CGroupsDB> directory;

    // Records that need a password and have none in the file: the stored one is kept.
    std::set<std::string> portsWithoutPassword;
    std::set<std::uint32_t> nodesWithoutPassword;
    std::set<std::string> portPrintersWithoutPassword;

    bool hasQueues = false;  ///< false: the file says nothing about queues
    std::vector<QueueDescription> queues;

    /// A description that people write: values that it cannot express, such as the URL that a port
    /// with groups still holds, stay as they are stored. False: an exact copy.
    bool isDescription = false;

    std::vector<std::string> warnings;  ///< UTF-8, safe to show
};

/// An error in a file and its place; UTF-8, one line.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Without passwords a URL that holds one is written without it.
Json toJson(const JobTemplate& job, const TextCodec& codec);
Json toJson(const PortConfig& port, bool withPassword, const TextCodec& codec);
Json toJson(const CGroupsDBNode& node, bool withPassword, const TextCodec& codec);
Json toJson(const std::vector<PortConfig>& ports, const CGroupsDB& directory, bool withPasswords,
            const TextCodec& codec);

/// A file as it was read.
struct FileText {
    std::string name;  ///< for messages; UTF-8, safe to show
    std::string text;
    bool isTable = false;  ///< CSV, see ports_table.h
};

/// Reads one file, or several of version 2 and tables as if they were one. Texts are in UTF-8, or
/// in UTF-16 with a byte order mark; nothing is taken from files with an error in them. Throws
/// FileError. `current`: where the groups of ports are looked up if the files have no directory.
Configuration readConfiguration(const std::vector<FileText>& files, const CGroupsDB& current,
                                const TextCodec& codec);
Configuration readConfiguration(const std::string& text, const CGroupsDB& current,
                                const TextCodec& codec);

/// Finds errors in the file itself, without a monitor: if it has no directory, the groups of its
/// ports are not looked up. Throws FileError.
void checkConfiguration(const std::string& text, const TextCodec& codec);

/// The description of ports and directory for version 2: sorted, only what is not a default. Throws
/// FileError for what version 2 cannot express. `queues`: null if they are left out.
Json describe(const std::vector<PortConfig>& ports, const CGroupsDB& directory,
              const std::vector<QueueDescription>* queues, bool withPasswords,
              const TextCodec& codec);

}  // namespace velmora::ctl
