#include "monitor/enum_ports.h"

#include <winspool.h>

#include <cstring>
#include <mutex>
#include <string>
#include <string_view>

#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "platform/text.h"
#include "port/entry_guard.h"
#include "port/settings.h"

namespace velmora {
namespace {

/// The two character types: how stored text becomes the caller's, and the structures in question.
template <class Char>
struct Generation;

template <>
struct Generation<wchar_t> {
    using Info1 = PORT_INFO_1W;
    using Info2 = PORT_INFO_2W;
    static void append(std::wstring& text, const std::string& ansi) { appendWide(text, ansi); }
};

template <>
struct Generation<char> {
    using Info1 = PORT_INFO_1A;
    using Info2 = PORT_INFO_2A;
    static void append(std::string& text, const std::string& ansi) { text += ansi; }
};

/// The display name may be cut differently for the two passes, terminator included. The Xcv
/// generation sizes for at most 256 characters and fills at most 128, so that a longer name leaves
/// a gap below the strings. Kept for compatibility: spoolers expect that size.
struct DisplayNameLimits {
    std::size_t sizing = static_cast<std::size_t>(-1);
    std::size_t filling = static_cast<std::size_t>(-1);
};

constexpr DisplayNameLimits kXcvGenerationLimits{256, 128};

/// Everything that one enumeration reports, read at one moment: both passes must see the same ports
/// although ports may be added or removed in between.
template <class Char>
struct Listing {
    std::size_t count = 0;
    std::basic_string<Char> names;        ///< one after the other, each with its terminator
    std::basic_string<Char> displayName;  ///< level 2 only
};

template <class Char>
Listing<Char> takeListing(DWORD level) {
    Listing<Char> listing;
    if (PortList* list = portList()) {
        for (const Port& port : *list) {
            Generation<Char>::append(listing.names, port.name());
            listing.names += Char{};
            ++listing.count;
        }
    }
    if (level == 2) Generation<Char>::append(listing.displayName, monitorDisplayName());
    return listing;
}

template <class Char>
std::size_t neededSize(const Listing<Char>& listing, DWORD level, std::size_t nameLimit) {
    using Info1 = typename Generation<Char>::Info1;
    using Info2 = typename Generation<Char>::Info2;
    const std::size_t names = listing.names.size() * sizeof(Char);
    if (level == 1) return names + listing.count * sizeof(Info1);
    const std::size_t name = std::min(listing.displayName.size(), nameLimit - 1) + 1;
    return names + listing.count * (sizeof(Info2) + 2 * name * sizeof(Char));
}

/// Packs strings downward from the end of a buffer.
template <class Char>
class StringPacker {
  public:
    explicit StringPacker(BYTE* end) noexcept : lowest_(end) {}

    Char* put(std::basic_string_view<Char> text) noexcept {
        lowest_ -= sizeof(Char);
        std::memset(lowest_, 0, sizeof(Char));
        lowest_ -= text.size() * sizeof(Char);
        std::memcpy(lowest_, text.data(), text.size() * sizeof(Char));
        return reinterpret_cast<Char*>(lowest_);
    }

  private:
    BYTE* lowest_;
};

template <class Char>
void fill(const Listing<Char>& listing, DWORD level, std::size_t nameLimit, BYTE* buffer,
          DWORD size) {
    using View = std::basic_string_view<Char>;
    StringPacker<Char> strings(buffer + size);
    auto* info1 = reinterpret_cast<typename Generation<Char>::Info1*>(buffer);
    auto* info2 = reinterpret_cast<typename Generation<Char>::Info2*>(buffer);
    const View displayName = View(listing.displayName).substr(0, nameLimit - 1);
    const Char* name = listing.names.c_str();
    for (std::size_t i = 0; i < listing.count; ++i) {
        const View port(name);
        name += port.size() + 1;
        if (level == 1) {
            info1[i].pName = strings.put(port);
            continue;
        }
        info2[i].pDescription = strings.put(displayName);
        info2[i].pMonitorName = strings.put(displayName);
        info2[i].pPortName = strings.put(port);
        info2[i].fPortType = PORT_TYPE_WRITE | PORT_TYPE_READ;
        info2[i].Reserved = 0;
    }
}

template <class Char>
BOOL enumerate(DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned,
               DisplayNameLimits limits) {
    if (level != 1 && level != 2) {
        SetLastError(ERROR_INVALID_LEVEL);
        return FALSE;
    }
    return guardedEntry([&]() -> BOOL {
        const Listing<Char> listing = takeListing<Char>(level);
        const std::size_t total = neededSize(listing, level, limits.sizing);
        if (needed != nullptr) *needed = static_cast<DWORD>(total);
        if (total > size || (buffer == nullptr && total != 0)) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        if (total != 0) fill(listing, level, limits.filling, buffer, size);
        if (returned != nullptr) *returned = static_cast<DWORD>(listing.count);
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
