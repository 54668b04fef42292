#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/handle.h"
#include "velmoractl/text/deliveries.h"

namespace velmora::ctl {

/// The files of the record of deliveries in one directory, read while the monitor writes them: as
/// lines in the order in which they were written, also when the files are rotated in between.
class DeliveryFiles {
  public:
    explicit DeliveryFiles(std::string directory) : directory_(std::move(directory)) {}

    /// What has been written since the last call; the first call gives everything. Damaged lines
    /// are left out and counted. Throws CommandError if a file exists and cannot be read.
    std::vector<DeliveryLine> read();
    /// The same, one after the other: a record can be larger than memory.
    void read(const std::function<void(DeliveryLine&&)>& take);
    /// Skips everything that has been written so far.
    void skip();

    /// Lines that were left out so far.
    std::uint32_t damaged() const noexcept { return damaged_; }
    /// Whether there is a record at all.
    bool found() const noexcept { return found_; }

  private:
    struct Open {
        UniqueFile file;
        std::uint64_t id = 0;
    };

    using Take = std::function<void(DeliveryLine&&)>;

    Open open(unsigned age) const;
    void readRest(Open& file, const Take& take);
    void add(const std::string& line, const Take& take);

    std::string directory_;
    Open current_;
    LineCutter cutter_;
    std::uint32_t damaged_ = 0;
    bool found_ = false;
};

/// Where the record of a computer is; `server` as "\\NAME", or empty for this one.
std::string deliveryDirectoryOf(const std::string& server);

std::int64_t utcNow();
/// Local milliseconds since 1970 as those of UTC, and back, with the rules of that day.
std::int64_t localToUtc(std::int64_t local);
std::int64_t utcToLocal(std::int64_t utc);

}  // namespace velmora::ctl
