#include "monitor/enum_ports.h"

#include <winspool.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "monitor/entry_guard.h"
#include "monitor/monitor_lock.h"
#include "monitor/process_port_list.h"
#include "monitor/settings.h"
#include "platform/text.h"

namespace velmora {
namespace {

/// The two character types: how stored text becomes the caller's, and the structures in question.
template <class Char>
struct Generation;

template <>
struct Generation<wchar_t> {
    using Info1 = PORT_INFO_1W;
    using Info2 = PORT_INFO_2W;
    static std::wstring fromAnsi(const std::string& text) { return toWide(text); }
};

template <>
struct Generation<char> {
    using Info1 = PORT_INFO_1A;
    using Info2 = PORT_INFO_2A;
    static const std::string& fromAnsi(const std::string& text) { return text; }
};

/// The display name may be cut differently for the two passes, terminator included. The Xcv
/// generation sizes for at most 256 characters and fills at most 128, so that a longer name leaves
/// a gap below the strings; spoolers have always been told that size.
struct DisplayNameLimits {
    std::size_t sizing = static_cast<std::size_t>(-1);
    std::size_t filling = static_cast<std::size_t>(-1);
};

constexpr DisplayNameLimits kXcvGenerationLimits{256, 128};

/// Everything one enumeration reports, taken at one moment: both passes must speak of the same
/// ports although others may be added or removed meanwhile.
template <class Char>
struct Listing {
    std::vector<std::basic_string<Char>> ports;
    std::basic_string<Char> displayName;  ///< level 2 only
};

template <class Char>
Listing<Char> takeListing(DWORD level) {
    Listing<Char> listing;
    if (PortList* list = portList()) {
        listing.ports.reserve(list->size());
        for (const Port& port : *list)
            listing.ports.push_back(Generation<Char>::fromAnsi(port.config()->name));
    }
    if (level == 2) listing.displayName = Generation<Char>::fromAnsi(monitorDisplayName());
    return listing;
}

template <class Char>
std::size_t neededSize(const Listing<Char>& listing, DWORD level, std::size_t nameLimit) {
    using Info1 = typename Generation<Char>::Info1;
    using Info2 = typename Generation<Char>::Info2;
    std::size_t size = 0;
    for (const auto& port : listing.ports)
        size += (port.size() + 1) * sizeof(Char);
    if (level == 1) return size + listing.ports.size() * sizeof(Info1);
    const std::size_t name = std::min(listing.displayName.size(), nameLimit - 1) + 1;
    return size + listing.ports.size() * (sizeof(Info2) + 2 * name * sizeof(Char));
}

/// Packs strings downward from the end of a buffer.
template <class Char>
class StringPacker {
  public:
    explicit StringPacker(BYTE* end) noexcept : lowest_(end) {}

    Char* put(const std::basic_string<Char>& text) noexcept {
        const std::size_t bytes = (text.size() + 1) * sizeof(Char);
        lowest_ -= bytes;
        std::memcpy(lowest_, text.c_str(), bytes);
        return reinterpret_cast<Char*>(lowest_);
    }

  private:
    BYTE* lowest_;
};

template <class Char>
void fill(const Listing<Char>& listing, DWORD level, std::size_t nameLimit, BYTE* buffer,
          DWORD size) {
    StringPacker<Char> strings(buffer + size);
    if (level == 1) {
        auto* info = reinterpret_cast<typename Generation<Char>::Info1*>(buffer);
        for (const auto& port : listing.ports)
            (info++)->pName = strings.put(port);
        return;
    }
    const auto displayName = listing.displayName.substr(0, nameLimit - 1);
    auto* info = reinterpret_cast<typename Generation<Char>::Info2*>(buffer);
    for (const auto& port : listing.ports) {
        info->pDescription = strings.put(displayName);
        info->pMonitorName = strings.put(displayName);
        info->pPortName = strings.put(port);
        info->fPortType = PORT_TYPE_WRITE | PORT_TYPE_READ;
        info->Reserved = 0;
        ++info;
    }
}

template <class Char>
BOOL enumerate(DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned,
               DisplayNameLimits limits) {
    if (level != 1 && level != 2) {
        SetLastError(ERROR_INVALID_LEVEL);
        return FALSE;
    }
    return guardedEntry<BOOL>(FALSE, [&]() -> BOOL {
        const Listing<Char> listing = takeListing<Char>(level);
        const std::size_t total = neededSize(listing, level, limits.sizing);
        if (needed != nullptr) *needed = static_cast<DWORD>(total);
        if (total > size || (buffer == nullptr && total != 0)) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        if (total != 0) fill(listing, level, limits.filling, buffer, size);
        if (returned != nullptr) *returned = static_cast<DWORD>(listing.ports.size());
        return TRUE;
    });
}

}  // namespace

BOOL WINAPI enumPorts2(HANDLE, wchar_t*, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned) {
    return enumerate<wchar_t>(level, buffer, size, needed, returned, kXcvGenerationLimits);
}

BOOL WINAPI enumPortsW(wchar_t*, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned) {
    return enumerate<wchar_t>(level, buffer, size, needed, returned, {});
}

BOOL WINAPI enumPortsA(char*, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                       DWORD* returned) {
    if (needed != nullptr) *needed = 0;
    if (returned != nullptr) *returned = 0;
    const std::lock_guard lock(monitorLock());
    return enumerate<char>(level, buffer, size, needed, returned, {});
}

}  // namespace velmora
