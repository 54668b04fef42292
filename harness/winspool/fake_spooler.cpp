#include "harness/winspool/fake_spooler.h"

#include <sstream>
#include <stdexcept>

#include "platform/library.h"

namespace velmora::testing {

FakeSpooler::FakeSpooler() {
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    const std::string folder(program, std::string_view(program).rfind('\\') + 1);
    // Loaded by its path the first time; later loads by name find the loaded library or, if another
    // one is loaded already, either of them. Never freed, as the spooler's own library never is.
    const HMODULE loaded = GetModuleHandleA("winspool.drv");
    const HMODULE library = LoadLibraryA((folder + "winspool_stand_in\\winspool.drv").c_str());
    const auto standIn =
        librarySymbol<SpoolerStandIn*(WINAPI*)()>(library, "VelmoraSpoolerStandIn");
    if (standIn == nullptr) throw std::runtime_error("winspool stand-in does not load");
    if (loaded != nullptr && loaded != library) {
        throw std::runtime_error("another winspool.drv is loaded");
    }
    standIn_ = standIn();
    *standIn_ = {};
}

std::vector<std::string> FakeSpooler::takeCalls() {
    std::istringstream lines(standIn_->calls);
    standIn_->calls[0] = '\0';
    std::vector<std::string> calls;
    for (std::string line; std::getline(lines, line);)
        calls.push_back(line);
    return calls;
}

}  // namespace velmora::testing
