#include "velmoractl/spooler_queues.h"

#include <optional>

#include "velmoractl/document_handover.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

// The properties of every queue of such a monitor: the document goes to the printer unchanged.
constexpr char kPrintProcessor[] = "winprint";
constexpr char kDataType[] = "RAW";

std::string textOf(const char* text) {
    return text == nullptr ? std::string() : text;
}

/// The name without its server, which the spooler puts before names of other computers.
std::string ownName(std::string name, const std::string& server) {
    const std::string before = server + "\\";
    if (server.empty() || name.size() <= before.size()) return name;
    if (CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, name.data(),
                       static_cast<int>(before.size()), before.data(),
                       static_cast<int>(before.size())) != CSTR_EQUAL) {
        return name;
    }
    return name.substr(before.size());
}

std::string fullName(const std::string& server, const std::string& name) {
    return server.empty() ? name : server + "\\" + name;
}

std::string defaultQueue() {
    DWORD size = 0;
    GetDefaultPrinterA(nullptr, &size);
    if (size == 0) return {};
    std::string name(size, '\0');
    if (!GetDefaultPrinterA(name.data(), &size)) return {};
    name.resize(name.find('\0'));
    return name;
}

/// One of the spooler's lists: asks for the size, then for the list, which may have grown.
template <class Ask>
DWORD askForList(Ask&& ask, std::vector<BYTE>& area, const std::string& what) {
    DWORD needed = 0;
    DWORD count = 0;
    while (!ask(area.data(), static_cast<DWORD>(area.size()), &needed, &count)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || needed <= area.size()) {
            throw spoolerError(what, error);
        }
        area.resize(needed);
    }
    return count;
}

std::optional<Queue> findQueue(const std::string& server, const std::string& name,
                               const std::string& what) {
    for (Queue& queue : spoolerQueues(server, what))
        if (queue.description.name == name) return std::move(queue);
    return std::nullopt;
}

void checkStored(const std::string& server, const QueueDescription& queue,
                 const std::string& what) {
    const std::optional<Queue> stored = findQueue(server, queue.name, what);
    if (stored && stored->description == queue) return;
    throw CommandError(
        ExitCode::failed, what,
        stored ? "the spooler holds other settings" : "the spooler does not have the queue",
        "see \"queue list\", and try again");
}

UniquePrinter openQueue(const std::string& server, const std::string& name,
                        const std::string& what) {
    std::string full = fullName(server, name);
    PRINTER_DEFAULTSA rights{nullptr, nullptr, PRINTER_ALL_ACCESS};
    UniquePrinter printer;
    if (!OpenPrinterA(full.data(), printer.put(), &rights))
        throw spoolerError(what, GetLastError());
    return printer;
}

/// Points the fields at the description's texts, which must outlive `info`.
void describe(PRINTER_INFO_2A& info, QueueDescription& queue) {
    info.pPortName = queue.port.data();
    info.pDriverName = queue.driver.data();
    info.pLocation = queue.location.data();
    info.pComment = queue.comment.data();
    info.pShareName = queue.share.data();
    if (queue.share.empty())
        info.Attributes &= ~static_cast<DWORD>(PRINTER_ATTRIBUTE_SHARED);
    else
        info.Attributes |= PRINTER_ATTRIBUTE_SHARED;
}

}  // namespace

std::vector<Queue> spoolerQueues(const std::string& server, const std::string& what) {
    std::string computer = server;
    char* const where = computer.empty() ? nullptr : computer.data();
    const DWORD kind = server.empty() ? PRINTER_ENUM_LOCAL : PRINTER_ENUM_NAME;
    std::vector<BYTE> area;
    const DWORD count = askForList(
        [&](BYTE* buffer, DWORD size, DWORD* needed, DWORD* entries) {
            return EnumPrintersA(kind, where, 2, buffer, size, needed, entries);
        },
        area, what + ", asking the spooler for its queues");
    const auto* const info = reinterpret_cast<const PRINTER_INFO_2A*>(area.data());
    const std::string chosen = server.empty() ? defaultQueue() : std::string();
    std::vector<Queue> queues;
    for (DWORD i = 0; i < count; ++i) {
        Queue& queue = queues.emplace_back();
        queue.description.name = ownName(textOf(info[i].pPrinterName), server);
        queue.description.port = textOf(info[i].pPortName);
        queue.description.driver = textOf(info[i].pDriverName);
        if ((info[i].Attributes & PRINTER_ATTRIBUTE_SHARED) != 0)
            queue.description.share = textOf(info[i].pShareName);
        queue.description.location = textOf(info[i].pLocation);
        queue.description.comment = textOf(info[i].pComment);
        queue.isDefault = !chosen.empty() && queue.description.name == chosen;
        queue.jobs = info[i].cJobs;
    }
    return queues;
}

std::vector<Driver> spoolerDrivers(const std::string& server, const std::string& what) {
    std::string computer = server;
    char* const where = computer.empty() ? nullptr : computer.data();
    std::vector<BYTE> area;
    const DWORD count = askForList(
        [&](BYTE* buffer, DWORD size, DWORD* needed, DWORD* entries) {
            return EnumPrinterDriversA(where, nullptr, 2, buffer, size, needed, entries);
        },
        area, what + ", asking the spooler for its drivers");
    const auto* const info = reinterpret_cast<const DRIVER_INFO_2A*>(area.data());
    std::vector<Driver> drivers;
    for (DWORD i = 0; i < count; ++i)
        drivers.push_back({textOf(info[i].pName), textOf(info[i].pEnvironment), info[i].cVersion});
    return drivers;
}

void addQueue(const std::string& server, const QueueDescription& queue, const std::string& what) {
    std::string computer = server;
    QueueDescription texts = queue;
    std::string processor = kPrintProcessor;
    std::string type = kDataType;
    PRINTER_INFO_2A info{};
    info.pPrinterName = texts.name.data();
    info.pPrintProcessor = processor.data();
    info.pDatatype = type.data();
    describe(info, texts);
    {
        const UniquePrinter printer(AddPrinterA(computer.empty() ? nullptr : computer.data(), 2,
                                                reinterpret_cast<BYTE*>(&info)));
        if (!printer) throw spoolerError(what, GetLastError());
    }
    try {
        checkStored(server, queue, what);
    } catch (const CommandError& error) {
        std::string rest = "the queue is not there";
        try {
            if (findQueue(server, queue.name, what)) removeQueue(server, queue.name, what);
        } catch (const CommandError&) {
            rest = "the queue is there with other settings, and has to be removed";
        }
        throw CommandError(error.code(), what, error.why() + "; " + rest, error.remedy(),
                           error.keyword());
    }
}

void changeQueue(const std::string& server, const QueueDescription& queue,
                 const std::string& what) {
    {
        const UniquePrinter printer = openQueue(server, queue.name, what);
        DWORD needed = 0;
        GetPrinterA(printer.get(), 2, nullptr, 0, &needed);
        std::vector<BYTE> area(needed);
        if (needed == 0 || !GetPrinterA(printer.get(), 2, area.data(), needed, &needed)) {
            throw spoolerError(what, GetLastError());
        }
        QueueDescription texts = queue;
        PRINTER_INFO_2A& info = *reinterpret_cast<PRINTER_INFO_2A*>(area.data());
        describe(info, texts);
        // None given: the rights stay unchanged.
        info.pSecurityDescriptor = nullptr;
        if (!SetPrinterA(printer.get(), 2, area.data(), 0))
            throw spoolerError(what, GetLastError());
    }
    checkStored(server, queue, what);
}

void removeQueue(const std::string& server, const std::string& name, const std::string& what) {
    if (const std::optional<Queue> queue = findQueue(server, name, what);
        queue && queue->jobs > 0) {
        throw CommandError(ExitCode::conflict, what,
                           std::to_string(queue->jobs) +
                               (queue->jobs == 1 ? " job waits" : " jobs wait") + " in the queue",
                           "wait until they have been printed, or delete them, and try again",
                           "in-use");
    }
    {
        const UniquePrinter printer = openQueue(server, name, what);
        if (!DeletePrinter(printer.get())) throw spoolerError(what, GetLastError());
    }
    if (!findQueue(server, name, what)) return;
    throw CommandError(ExitCode::failed, what, "the spooler still has it",
                       "see \"queue list\", and try again");
}

void makeDefault(const std::string& name, const std::string& what) {
    if (SetDefaultPrinterA(name.c_str()) && defaultQueue() == name) return;
    throw spoolerError(what, GetLastError());
}

}  // namespace velmora::ctl
