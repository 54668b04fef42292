#include "monitor/xcv_dispatcher.h"

#include <cstring>

#include "directory/groups_db.h"
#include "directory/groups_store.h"
#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "platform/caller_memory.h"
#include "platform/text.h"
#include "port/entry_guard.h"
#include "port/policy_store.h"
#include "port/port_config.h"
#include "port/settings.h"
#include "port/xcv_client.h"

namespace velmora {
namespace {

struct XcvCall {
    const void* input;
    std::size_t statedSize;
    void* output;
    DWORD outputSize;
    DWORD* needed;  ///< may be null
};

/// Reports the size that an answer of `size` bytes needs.
DWORD tooSmall(const XcvCall& call, std::size_t size) {
    if (call.needed != nullptr) *call.needed = static_cast<DWORD>(size);
    return ERROR_INSUFFICIENT_BUFFER;
}

bool fits(const XcvCall& call, std::size_t size) {
    return call.output != nullptr && size <= call.outputSize;
}

// Inputs are copied up to their own end, or as far as the memory can be read, and parsed from the
// copy. One that has no end there is refused, and nothing is changed.

/// Reads the input within its stated size, and beyond that if it does not end there. `read` is
/// given how far it may read, and returns something that is false if there is no end. Without a
/// stated size there is no limit. The policy is read only where it decides: most inputs end within
/// their stated size, and a tool that reads thousands of ports makes thousands of calls.
template <class Read>
auto boundedInput(const XcvCall& call, Read read) {
    auto input = read(call.statedSize);
    if (input || (call.statedSize != 0 && machinePolicy(&Policy::statedSizes) != 0)) return input;
    return read(CallerMemory::kNoLimit);
}

template <class Char>
std::optional<std::basic_string<Char>> textInput(const XcvCall& call) {
    return boundedInput(call, [&](std::size_t limit) {
        return callerText(static_cast<const Char*>(call.input), limit);
    });
}

std::optional<std::string> wideInput(const XcvCall& call) {
    const auto text = textInput<wchar_t>(call);
    if (!text) return std::nullopt;
    return toAnsi(*text);
}

/// Parses the bytes read so far, and reads more as long as that fails. `parse` returns something
/// that is false if the bytes do not hold a whole input.
template <class Parse>
auto parsedWithin(const XcvCall& call, std::size_t limit, Parse parse) {
    CallerMemory memory(call.input, limit, call.statedSize);
    while (memory.reach(memory.bytes().size() + 1))
        if (auto result = parse(memory.bytes())) return result;
    return decltype(parse(memory.bytes())){};
}

template <class Parse>
auto parsedInput(const XcvCall& call, Parse parse) {
    return boundedInput(call, [&](std::size_t limit) { return parsedWithin(call, limit, parse); });
}

DWORD monitorUi(const XcvCall& call) {
    constexpr wchar_t kUiLibrary[] = L"Velmora.dll";
    // Unlike the other answers this one reports its size every time.
    if (call.needed != nullptr) *call.needed = sizeof kUiLibrary;
    if (!fits(call, sizeof kUiLibrary)) return ERROR_INSUFFICIENT_BUFFER;
    std::memcpy(call.output, kUiLibrary, sizeof kUiLibrary);
    return ERROR_SUCCESS;
}

DWORD addPort(const XcvCall& call) {
    auto name = wideInput(call);
    if (!name) return ERROR_INVALID_PARAMETER;
    if (portList() == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    PortConfig config;
    config.name = std::move(*name);
    portList()->add(std::move(config));
    return ERROR_SUCCESS;
}

DWORD deletePort(const XcvCall& call) {
    const auto name = wideInput(call);
    if (!name) return ERROR_INVALID_PARAMETER;
    if (Port* const port = findPort(*name)) portList()->remove(*port);
    return ERROR_SUCCESS;
}

DWORD getConfigInfo(const XcvCall& call) {
    const auto name = textInput<char>(call);
    Port* const port = name ? findPort(*name) : nullptr;
    if (port == nullptr) return ERROR_INVALID_PARAMETER;
    const PackedPortConfig record = pack(*port->config());
    if (!fits(call, record.size())) return tooSmall(call, record.size());
    std::memcpy(call.output, record.data(), record.size());
    return ERROR_SUCCESS;
}

DWORD configPort(const XcvCall& call) {
    auto config = parsedInput(call, unpack);
    Port* const port = config ? findPort(config->name) : nullptr;
    if (port == nullptr) return ERROR_INVALID_PARAMETER;
    portList()->update(*port, std::move(*config));
    return ERROR_SUCCESS;
}

DWORD getGroupsDb(const XcvCall& call) {
    RegistryGroupsStore store = directoryStore();
    const CGroupsDB directory(store);
    if (const LSTATUS status = keptBack(store)) return static_cast<DWORD>(status);
    const std::size_t size = directory.GetSize();
    if (!fits(call, size)) return tooSmall(call, size);
    directory.Serialize(static_cast<std::byte*>(call.output));
    return ERROR_SUCCESS;
}

DWORD setGroupsDb(const XcvCall& call) {
    CGroupsDB directory;
    const auto read = [&](std::span<const std::byte> bytes) {
        return directory.Deserialize(bytes);
    };
    RegistryGroupsStore store = directoryStore();
    if (!parsedInput(call, read)) return ERROR_INVALID_PARAMETER;
    store.save(directory);
    return ERROR_SUCCESS;
}

struct Command {
    const wchar_t* name;
    DWORD (*run)(const XcvCall&);
};

constexpr Command kCommands[] = {
    {kMonitorUi, monitorUi},         {kAddPort, addPort},       {kDeletePort, deletePort},
    {kGetConfigInfo, getConfigInfo}, {kConfigPort, configPort}, {kGetGroupsDb, getGroupsDb},
    {kSetGroupsDb, setGroupsDb},
};

DWORD dispatch(const wchar_t* address, const XcvCall& call) {
    const auto wide = callerText(address);
    if (!wide) return ERROR_INVALID_PARAMETER;
    // Names are compared as the code page has them: callers of the ANSI days count on it.
    const std::wstring name = toWide(toAnsi(*wide));
    for (const Command& command : kCommands)
        if (name == command.name) return command.run(call);
    return ERROR_INVALID_PARAMETER;
}

}  // namespace

DWORD WINAPI xcvDataPort(HANDLE, const wchar_t* command, BYTE* input, DWORD inputSize, BYTE* output,
                         DWORD outputSize, DWORD* needed) {
    return guardedCall([&] {
        return dispatch(command, {.input = input,
                                  .statedSize = inputSize,
                                  .output = output,
                                  .outputSize = outputSize,
                                  .needed = needed});
    });
}

}  // namespace velmora
