#include "port/spooler.h"

#include "platform/library.h"

namespace velmora {
namespace {

template <class... Arguments>
BOOL WINAPI missing(Arguments...) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return FALSE;
}

template <class... Arguments>
void resolve(HMODULE library, const char* name, BOOL(WINAPI*& function)(Arguments...)) {
    function = librarySymbol<BOOL(WINAPI*)(Arguments...)>(library, name);
    if (function == nullptr) function = missing<Arguments...>;
}

SpoolerFunctions load() {
    // The library stays loaded as long as the process: its functions are called from any thread.
    const HMODULE library = loadedOrSystemLibrary(L"WinSpool.drv");
    SpoolerFunctions functions{};
    resolve(library, "EnumPortsA", functions.enumPorts);
    resolve(library, "OpenPrinterA", functions.openPrinter);
    resolve(library, "ClosePrinter", functions.closePrinter);
    resolve(library, "SetJobA", functions.setJob);
    resolve(library, "XcvDataW", functions.xcvData);
    return functions;
}

}  // namespace

const SpoolerFunctions& spooler() {
    static const SpoolerFunctions functions = load();
    return functions;
}

}  // namespace velmora
