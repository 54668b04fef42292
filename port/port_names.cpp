#include "port/port_names.h"

namespace velmora {

std::vector<std::string> spoolerPortNames(const SpoolerFunctions& spooler,
                                          const std::string& server) {
    // Ports may be added between asking for the size and for the ports.
    constexpr int kAttempts = 8;
    std::string name = server;
    std::vector<PORT_INFO_1A> area;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        DWORD needed = 0;
        DWORD count = 0;
        const DWORD size = static_cast<DWORD>(area.size() * sizeof area[0]);
        if (spooler.enumPorts(name.empty() ? nullptr : name.data(), 1,
                              reinterpret_cast<BYTE*>(area.data()), size, &needed, &count)) {
            std::vector<std::string> names;
            for (DWORD i = 0; i < count; ++i)
                if (area[i].pName != nullptr) names.emplace_back(area[i].pName);
            return names;
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) break;
        area.resize(needed / sizeof area[0] + 1);
    }
    return {};
}

}  // namespace velmora
