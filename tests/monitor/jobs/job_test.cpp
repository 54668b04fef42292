#include "tests/monitor/jobs/job_test.h"

#include <utility>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "monitor/job_entries.h"
#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "platform/text.h"
#include "port/port_config.h"
#include "port/settings.h"

#include <winspool.h>

namespace velmora::testing {
namespace {

BOOL startUnicode(HANDLE port, const char* printer, DWORD job, DWORD level, const char* document) {
    std::wstring printerName = printer == nullptr ? L"" : toWide(printer);
    std::wstring documentName = document == nullptr ? L"" : toWide(document);
    // The spooler's document information of every level begins alike.
    DOC_INFO_2W info{document == nullptr ? nullptr : documentName.data(), nullptr, nullptr, 0, 77};
    return startDocPortW(port, printer == nullptr ? nullptr : printerName.data(), job, level,
                         reinterpret_cast<BYTE*>(&info));
}

BOOL startAnsi(HANDLE port, const char* printer, DWORD job, DWORD level, const char* document) {
    DOC_INFO_2A info{const_cast<char*>(document), nullptr, nullptr, 0, 77};
    return startDocPortA(port, const_cast<char*>(printer), job, level,
                         reinterpret_cast<BYTE*>(&info));
}

template <class Edit>
void change(HANDLE handle, Edit edit) {
    Port& port = *static_cast<Port*>(handle);
    PortConfig config = *port.config();
    edit(config);
    portList()->update(port, config);
}

}  // namespace

void PrintTo(const JobEntries& entries, std::ostream* out) {
    *out << entries.name;
}

const std::vector<JobEntries>& jobGenerations() {
    static const std::vector<JobEntries> generations{
        {"Unicode", startUnicode, writePort, endDocPort},
        {"Ansi", startAnsi, writePortA, endDocPortA},
    };
    return generations;
}

const JobEntries& unicodeJobs() {
    return jobGenerations().front();
}

void JobTest::SetUp() {
    CleanStateTest::SetUp();
    createPortList();
}

HANDLE JobTest::singlePort(const std::string& url, const std::string& name) {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer.url = url;
    return portList()->add(config);
}

HANDLE JobTest::multiPort(const std::vector<std::string>& urls) {
    auto store = directoryStore();
    CGroupsDB directory(store);
    PortConfig config;
    config.name = "Multi";
    config.targetIds = {directory.AddGroup("Group", 1)->id};
    for (const std::string& url : urls) {
        auto printer = std::make_unique<CGroupsDBPrinter>();
        printer->id = directory.nextId();
        printer->parent = config.targetIds[0];
        printer->name = url;
        printer->address.url = url;
        directory.Insert(std::move(printer));
    }
    directory.Save();
    return portList()->add(config);
}

HANDLE JobTest::portOfGroups(const std::vector<std::uint32_t>& groups) {
    PortConfig config;
    config.name = "Groups";
    config.targetIds = groups;
    return portList()->add(config);
}

void JobTest::setUrl(HANDLE port, const std::string& url) {
    change(port, [&](PortConfig& config) { config.printer.url = url; });
}

void JobTest::setTemplate(HANDLE port, const JobTemplate& job) {
    change(port, [&](PortConfig& config) { config.jobTemplate = job; });
}

void JobTest::setPageRanges(HANDLE port, const std::string& ranges) {
    change(port, [&](PortConfig& config) { config.jobTemplate.pageRanges = ranges; });
}

void JobTest::requireMedium(HANDLE port, const std::string& medium) {
    change(port, [&](PortConfig& config) {
        config.jobTemplate.media = medium;
        config.jobTemplate.ippAttributeFidelity = 1;
    });
}

void JobTest::makeSingle(HANDLE port, const std::string& url) {
    std::vector<std::uint32_t> groups;
    change(port, [&](PortConfig& config) {
        groups = std::exchange(config.targetIds, {});
        config.singleTarget = 1;
        config.printer.url = url;
        config.jobTemplate = JobTemplate();
    });
    auto store = directoryStore();
    CGroupsDB directory(store);
    for (const std::uint32_t group : groups)
        directory.DeleteNode(group);
    directory.Save();
}

bool printJob(HANDLE port, const std::string& document, const std::string& name,
              const JobEntries& entries) {
    if (!entries.start(port, "Printer X", 77, 1, name.c_str())) {
        entries.end(port);
        return false;
    }
    BOOL written = FALSE;
    const DWORD count = writeText(port, document, written, entries);
    return entries.end(port) && written && count == document.size();
}

DWORD writeText(HANDLE port, const std::string& text, BOOL& result, const JobEntries& entries) {
    DWORD count = 4711;
    result = entries.write(port, reinterpret_cast<BYTE*>(const_cast<char*>(text.data())),
                           static_cast<DWORD>(text.size()), &count);
    return count;
}

}  // namespace velmora::testing
