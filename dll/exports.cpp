#include <windows.h>

#include "dll/port_dialogs.h"
#include "dll/port_ui.h"
#include "dll/spooler_tables.h"
#include "monitor/enum_ports.h"
#include "monitor/job_entries.h"
#include "monitor/port_entries.h"
#include "monitor/port_list.h"
#include "monitor/process_objects.h"
#include "monitor/xcv_dispatcher.h"

// The whole contract with the spooler: four exports, four constant tables.

namespace velmora {
namespace {

constexpr MonitorUiTable kMonitorUi{
    .size = kMonitorUiSize,
    .addPortUi = addPortUi,
    .configurePortUi = configurePortUi,
    .deletePortUi = deletePortUi,
};

constexpr Monitor2Table kMonitor2{
    .size = kMonitor2Size,
    .enumPorts = enumPorts2,
    .openPort = openPort2,
    .openPortEx = nullptr,
    .startDocPort = startDocPortW,
    .writePort = writePort,
    .readPort = readPort2,
    .endDocPort = endDocPort,
    .closePort = closePort,
    .addPort = nullptr,
    .addPortEx = nullptr,
    .configurePort = nullptr,
    .deletePort = nullptr,
    .getPrinterDataFromPort = getPrinterDataFromPort2,
    .setPortTimeOuts = acceptPortTimeOuts,
    .xcvOpenPort = xcvOpenPort,
    .xcvDataPort = xcvDataPort,
    .xcvClosePort = closePort,
    .shutdown = shutdownMonitor,
};

constexpr MonitorTable kMonitor{
    .enumPorts = enumPortsA,
    .openPort = openPortA,
    .openPortEx = nullptr,
    .startDocPort = startDocPortA,
    .writePort = writePortA,
    .readPort = readPortA,
    .endDocPort = endDocPortA,
    .closePort = closePort,
    .addPort = addPortA,
    .configurePort = configurePortA,
    .deletePort = deletePortA,
    .getPrinterDataFromPort = getPrinterDataFromPortA,
    .setPortTimeOuts = acceptPortTimeOuts,
};

constexpr MonitorExTable kMonitorEx{
    .size = kMonitorExSize,
    .enumPorts = enumPortsW,
    .openPort = openPortW,
    .openPortEx = openPortExW,
    .startDocPort = startDocPortW,
    .writePort = writePort,
    .readPort = readPortW,
    .endDocPort = endDocPort,
    .closePort = closePort,
    .addPort = addPortW,
    .addPortEx = nullptr,
    .configurePort = configurePortW,
    .deletePort = deletePortW,
    .getPrinterDataFromPort = nullptr,
    .setPortTimeOuts = refusePortTimeOuts,
    .noXcv = {},
};

}  // namespace
}  // namespace velmora

extern "C" {

/// The UI library's table. Makes no port list: the UI side reaches the monitor only through Xcv.
const velmora::MonitorUiTable* WINAPI InitializePrintMonitorUI() {
    return &velmora::kMonitorUi;
}

/// The generation with Xcv. Neither argument is read or written: the entries need no monitor
/// handle.
const velmora::Monitor2Table* WINAPI InitializePrintMonitor2(void*, HANDLE*) {
    velmora::createPortList();
    return &velmora::kMonitor2;
}

/// The ANSI generation. The registry root is ignored: ports live under the monitor's own key.
BOOL WINAPI InitializeMonitorEx(char*, velmora::MonitorTable* table) {
    velmora::monitorLock();
    velmora::createPortList();
    if (table != nullptr) *table = velmora::kMonitor;
    return TRUE;
}

/// The Unicode generation before Xcv. The registry root is ignored, as above.
const velmora::MonitorExTable* WINAPI InitializePrintMonitor(wchar_t*) {
    velmora::createPortList();
    return &velmora::kMonitorEx;
}
}
