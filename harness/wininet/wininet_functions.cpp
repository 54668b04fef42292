#include "harness/wininet/wininet_functions.h"

#include <stdexcept>

#include "platform/library.h"

namespace velmora::testing {

WinInetFunctions& winInetFunctions() {
    using Export = WinInetFunctions*(WINAPI*)();
    // Looked up once: the call also loads the platform's library, which has the same name.
    static const auto table =
        librarySymbol<Export>(GetModuleHandleA("wininet.dll"), "VelmoraWinInetFunctions");
    if (table == nullptr) throw std::runtime_error("the stand-in for wininet.dll is not loaded");
    return *table();
}

}  // namespace velmora::testing
