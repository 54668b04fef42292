#include "tests/ui/port_sheet_fixture.h"

#include <cstring>

namespace velmora::testing {

StandInSpooler* StandInSpooler::current_ = nullptr;

StandInSpooler::StandInSpooler(std::vector<std::string> ports) : ports_(std::move(ports)) {
    current_ = this;
    functions_.enumPorts = &enumPorts;
}

StandInSpooler::~StandInSpooler() {
    current_ = nullptr;
}

BOOL WINAPI StandInSpooler::enumPorts(char* server, DWORD level, BYTE* buffer, DWORD size,
                                      DWORD* needed, DWORD* returned) {
    EXPECT_EQ(level, 1u);
    StandInSpooler& self = *current_;
    std::size_t texts = 0;
    for (const std::string& port : self.ports_)
        texts += port.size() + 1;
    *needed = static_cast<DWORD>(self.ports_.size() * sizeof(PORT_INFO_1A) + texts);
    *returned = 0;
    if (*needed > size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    self.servers_.push_back(server == nullptr ? "(null)" : server);
    auto* info = reinterpret_cast<PORT_INFO_1A*>(buffer);
    char* text = reinterpret_cast<char*>(info + self.ports_.size());
    for (const std::string& port : self.ports_) {
        info++->pName = text;
        std::memcpy(text, port.c_str(), port.size() + 1);
        text += port.size() + 1;
    }
    *returned = static_cast<DWORD>(self.ports_.size());
    return TRUE;
}

PortSheetTest::PortSheetTest()
    : directory(records.directory), config(records.config), jobTemplate(records.jobTemplate) {}

PortSheetTest::~PortSheetTest() = default;

bool PortSheetTest::run(PortSheet& sheet, const std::function<void(const SheetDriver&)>& person) {
    sheet.useMessageBoxes(boxes);
    bool accepted = false;
    drive([&] { accepted = sheet.edit(config); },
          [&] {
              const SheetDriver opened(waitForDialog(title).window());
              if (!opened.sheet()) return;
              EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(opened.page()); }));
              person(opened);
              opened.waitUntilClosed();
          });
    EXPECT_EQ(boxes.count(), 0u) << "messages that the test did not expect";
    return accepted;
}

bool PortSheetTest::runNew(const std::function<void(const SheetDriver&)>& person) {
    CDialogNewPort sheet(nullptr, directory, server, spooler.functions());
    return run(sheet, person);
}

bool PortSheetTest::runConfigure(const std::function<void(const SheetDriver&)>& person) {
    CDialogConfigPort sheet(nullptr, directory, spooler.functions());
    return run(sheet, person);
}

}  // namespace velmora::testing
