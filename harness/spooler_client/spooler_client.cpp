// A client of the Windows spooler: installs the monitor, configures ports and prints documents
// through the spooler's own calls. For tools/print-demo.
//
//   spooler-client install
//   spooler-client configure PORT URL               a single-target port
//   spooler-client configure PORT GROUP=URL[,URL]... GROUP=...   a multi-target port
//   spooler-client print PORT JOB_NAME FILE
#include <windows.h>
// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "harness/spooler_client/port_setup.h"
#include "platform/handle.h"
#include "platform/registry.h"

namespace {

using velmora::testing::configurePort;
using velmora::testing::kPrintKey;
using velmora::testing::monitorName;

constexpr char kDriver[] = "Velmora demo driver";
#ifdef _WIN64
constexpr char kEnvironment[] = "Windows x64";
#else
constexpr char kEnvironment[] = "Windows NT x86";
#endif

using UniquePrinter = velmora::UniqueHandle<HANDLE, ClosePrinter>;

int fail(const char* what) {
    std::printf("%s failed, error %lu\n", what, GetLastError());
    return 1;
}

/// AddMonitor loads the library; the other steps are those of a setup program or an administrator.
int install() {
    std::string name = monitorName();
    char library[] = "Velmora.dll";
    MONITOR_INFO_2A monitor{name.data(), nullptr, library};
    if (!AddMonitorA(nullptr, 2, reinterpret_cast<BYTE*>(&monitor))) return fail("AddMonitor");
    velmora::RegistryKey::create(kPrintKey + "Environments\\" + kEnvironment +
                                 "\\Drivers\\Version-3\\" + kDriver);
    return 0;
}

/// A printer of the spooler that prints to the port.
bool makePrinter(std::string& printerName, std::string& port) {
    char empty[] = "";
    char driver[sizeof kDriver];
    std::copy(std::begin(kDriver), std::end(kDriver), driver);
    char processor[] = "winprint";
    char datatype[] = "RAW";
    PRINTER_INFO_2A info{};
    info.pServerName = info.pShareName = info.pComment = info.pLocation = empty;
    info.pSepFile = info.pParameters = empty;
    info.pPrinterName = printerName.data();
    info.pPortName = port.data();
    info.pDriverName = driver;
    info.pPrintProcessor = processor;
    info.pDatatype = datatype;
    return static_cast<bool>(
        UniquePrinter(AddPrinterA(nullptr, 2, reinterpret_cast<BYTE*>(&info))));
}

int print(std::string port, std::string jobName, const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> document{std::istreambuf_iterator<char>(file), {}};
    if (!file) return fail("reading the document");

    std::string printerName = port + " printer";
    if (!makePrinter(printerName, port)) return fail("AddPrinter");
    UniquePrinter printer;
    if (!OpenPrinterA(printerName.data(), printer.put(), nullptr)) return fail("OpenPrinter");
    char datatype[] = "RAW";
    DOC_INFO_1A order{jobName.data(), nullptr, datatype};
    if (!StartDocPrinterA(printer.get(), 1, reinterpret_cast<BYTE*>(&order))) {
        return fail("StartDocPrinter");
    }
    for (std::size_t done = 0; done < document.size();) {
        DWORD written = 0;
        const auto piece = static_cast<DWORD>(std::min<std::size_t>(65536, document.size() - done));
        if (!WritePrinter(printer.get(), document.data() + done, piece, &written)) {
            return fail("WritePrinter");
        }
        done += written;
        std::printf("spooled %zu of %zu bytes\n", done, document.size());
    }
    // Wine's spooler sends the job here, in this process; it comes back when the job has ended.
    if (!EndDocPrinter(printer.get())) return fail("EndDocPrinter");
    std::printf("sent %zu bytes\n", document.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    // Another program reads the output while this one runs.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (words.size() == 1 && words[0] == "install") return install();
    if (words.size() >= 3 && words[0] == "configure") {
        configurePort(words[1], {words.begin() + 2, words.end()});
        return 0;
    }
    if (words.size() == 4 && words[0] == "print") return print(words[1], words[2], words[3]);
    std::printf("spooler-client install | configure PORT TARGET... | print PORT JOB_NAME FILE\n");
    return 2;
}
