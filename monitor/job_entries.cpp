#include "monitor/job_entries.h"

#include <mutex>
#include <span>
#include <string>
#include <utility>

#include "monitor/entry_guard.h"
#include "monitor/jobs/job_lifecycle.h"
#include "monitor/monitor_lock.h"
#include "platform/text.h"
#include "port/spooler.h"

namespace velmora {
namespace {

// The document information of every level begins with the three fields of DOC_INFO_1, so the level
// does not matter: only the document's name is looked at.

const char* documentName(const BYTE* docInfo, char*) {
    return reinterpret_cast<const DOC_INFO_1A*>(docInfo)->pDocName;
}

const wchar_t* documentName(const BYTE* docInfo, wchar_t*) {
    return reinterpret_cast<const DOC_INFO_1W*>(docInfo)->pDocName;
}

std::string ansi(const char* text) {
    return text;
}

std::string ansi(const wchar_t* text) {
    return toAnsi(text);
}

template <class Char>
BOOL startDocPort(HANDLE port, Char* printer, DWORD job, const BYTE* docInfo) {
    if (port == nullptr || docInfo == nullptr) return FALSE;
    const Char* const name = documentName(docInfo, printer);
    if (name == nullptr) return FALSE;
    return guardedEntry<BOOL>(FALSE, [&]() -> BOOL {
        std::string printerName = printer == nullptr ? std::string() : ansi(printer);
        return startJob(*static_cast<Port*>(port),
                        {printer == nullptr ? nullptr : printerName.data(), job, ansi(name)});
    });
}

}  // namespace

BOOL WINAPI startDocPortW(HANDLE port, wchar_t* printer, DWORD job, DWORD, BYTE* docInfo) {
    return startDocPort(port, printer, job, docInfo);
}

BOOL WINAPI startDocPortA(HANDLE port, char* printer, DWORD job, DWORD, BYTE* docInfo) {
    const std::lock_guard lock(monitorLock());
    return startDocPort(port, printer, job, docInfo);
}

BOOL WINAPI writePort(HANDLE port, BYTE* buffer, DWORD size, DWORD* written) {
    if (size == 0) return TRUE;
    std::uint32_t accepted = 0;
    const BOOL result = port != nullptr && buffer != nullptr && guardedEntry(false, [&] {
                            return writeJob(*static_cast<Port*>(port),
                                            std::as_bytes(std::span(buffer, size)), accepted);
                        });
    if (written != nullptr) *written = accepted;
    return result;
}

BOOL WINAPI writePortA(HANDLE port, BYTE* buffer, DWORD size, DWORD* written) {
    const std::lock_guard lock(monitorLock());
    return writePort(port, buffer, size, written);
}

BOOL WINAPI endDocPort(HANDLE port) {
    if (port != nullptr) endJob(*static_cast<Port*>(port));
    return TRUE;
}

BOOL WINAPI endDocPortA(HANDLE port) {
    const std::lock_guard lock(monitorLock());
    return endDocPort(port);
}

}  // namespace velmora
