#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "harness/clean_state.h"
#include "harness/wininet/import_patch.h"
#include "harness/winspool/fake_spooler.h"
#include "monitor/port_list.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::testing {

/// The job entries of one generation of the spooler's contract.
struct JobEntries {
    const char* name;
    /// Texts are in the ANSI code page; null stays null.
    BOOL (*start)(HANDLE port, const char* printer, DWORD job, DWORD level, const char* document);
    BOOL(WINAPI* write)(HANDLE port, BYTE* buffer, DWORD size, DWORD* written);
    BOOL(WINAPI* end)(HANDLE port);
};

void PrintTo(const JobEntries& entries, std::ostream* out);

const std::vector<JobEntries>& jobGenerations();
/// The Unicode entries, for tests in which the generation makes no difference.
const JobEntries& unicodeJobs();

/// Jobs on ports of this process, with a spooler that records, without the pauses between the
/// requests (which only take time here).
class JobTest : public CleanStateTest {
  protected:
    void SetUp() override;

    // Add a port and return its handle.

    HANDLE singlePort(const std::string& url, const std::string& name = "Single");
    /// Prints to all URLs, which are the printers of one group.
    HANDLE multiPort(const std::vector<std::string>& urls);
    /// Prints to the groups of these numbers, whatever they are.
    HANDLE portOfGroups(const std::vector<std::uint32_t>& groups);

    // Change a port, as an administrator may at any time.

    /// Gives a port of one printer another one.
    void setUrl(HANDLE port, const std::string& url);
    void setTemplate(HANDLE port, const JobTemplate& job);
    void setPageRanges(HANDLE port, const std::string& ranges);
    /// Its jobs are for this medium alone: a printer without it refuses them.
    void requireMedium(HANDLE port, const std::string& medium);
    /// Makes a port of printer groups one of a single printer, with the template of a new port, and
    /// deletes the groups.
    void makeSingle(HANDLE port, const std::string& url);

    FakeSpooler spooler_;

  private:
    ShortPauses shortPauses_;
};

/// A whole job. Whether the spooler was told at every step that all is well.
bool printJob(HANDLE port, const std::string& document, const std::string& name = "Document",
              const JobEntries& entries = unicodeJobs());

/// WritePort with the whole text; the number of bytes that the entry counted.
DWORD writeText(HANDLE port, const std::string& text, BOOL& result,
                const JobEntries& entries = unicodeJobs());

}  // namespace velmora::testing
