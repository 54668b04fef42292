#include "port/xcv_client.h"
#include "directory/groups_db.h"
#include "port/port_config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>

#include "harness/packed_record.h"

// The UI's end of the Xcv channel against a spooler that records.

namespace velmora::testing {
namespace {

using Block = std::vector<std::byte>;

/// The arguments of one XcvDataW call.
struct Command {
    std::wstring name;
    Block input;
    bool hasOutput;
    DWORD outputSize;
    Block outputBefore;
};

/// The functions that the client is given; one object at a time.
class RecordingSpooler {
  public:
    RecordingSpooler() {
        current_ = this;
        functions.openPrinter = &openPrinter;
        functions.closePrinter = &closePrinter;
        functions.xcvData = &xcvData;
    }

    SpoolerFunctions functions{};
    HANDLE handle = reinterpret_cast<HANDLE>(std::uintptr_t{77});
    DWORD openError = 0;
    DWORD xcvError = 0;
    DWORD status = 0;
    Block answer;
    std::vector<Block> laterAnswers;  ///< each takes the place of the one before after a call

    std::string opened;
    DWORD access = 0;
    bool plain = false;
    std::vector<HANDLE> closed;
    std::vector<Command> commands;

  private:
    static BOOL WINAPI openPrinter(char* name, HANDLE* printer, PRINTER_DEFAULTSA* defaults) {
        current_->opened = name;
        current_->access = defaults->DesiredAccess;
        current_->plain = defaults->pDatatype == nullptr && defaults->pDevMode == nullptr;
        *printer = current_->handle;
        SetLastError(current_->openError);
        return current_->openError == 0;
    }

    static BOOL WINAPI closePrinter(HANDLE printer) {
        current_->closed.push_back(printer);
        return TRUE;
    }

    static BOOL WINAPI xcvData(HANDLE xcv, const wchar_t* command, BYTE* input, DWORD inputSize,
                               BYTE* output, DWORD outputSize, DWORD* needed, DWORD* status) {
        EXPECT_EQ(xcv, current_->handle);
        EXPECT_NE(needed, nullptr) << "the spooler refuses a null pointer";
        EXPECT_NE(status, nullptr);
        const auto* in = reinterpret_cast<const std::byte*>(input);
        auto* out = reinterpret_cast<std::byte*>(output);
        current_->commands.push_back({command, Block(in, in + inputSize), output != nullptr,
                                      outputSize, Block(out, out + outputSize)});
        if (current_->xcvError != 0) {
            SetLastError(current_->xcvError);
            return FALSE;
        }
        const Block& answer = current_->answer;
        *status = current_->status;
        if (outputSize < answer.size()) {
            *needed = static_cast<DWORD>(answer.size());
            *status = ERROR_INSUFFICIENT_BUFFER;
        } else if (!answer.empty()) {
            std::memcpy(output, answer.data(), answer.size());
        }
        if (!current_->laterAnswers.empty()) {
            current_->answer = current_->laterAnswers.front();
            current_->laterAnswers.erase(current_->laterAnswers.begin());
        }
        return TRUE;
    }

    static inline RecordingSpooler* current_ = nullptr;
};

class XcvClient : public ::testing::Test {
  protected:
    XcvConnection open(const std::string& server, XcvConnection::Kind kind,
                       const std::string& name) {
        return XcvConnection(spooler.functions, server, kind, name);
    }

    static std::optional<DWORD> codeOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const XcvException& failure) {
            return failure.code();
        }
        return std::nullopt;
    }

    RecordingSpooler spooler;
};

constexpr auto kMonitor = XcvConnection::Kind::monitor;
constexpr auto kPort = XcvConnection::Kind::port;

TEST_F(XcvClient, OpensTheMonitorOrThePortToAdministerIt) {
    open("", kMonitor, "Port Monitor Name");
    EXPECT_EQ(spooler.opened, ",XcvMonitor Port Monitor Name");
    EXPECT_EQ(spooler.access, static_cast<DWORD>(SERVER_ACCESS_ADMINISTER));
    EXPECT_TRUE(spooler.plain);
    open("\\\\host", kPort, "IPP 1");
    EXPECT_EQ(spooler.opened, "\\\\host\\,XcvPort IPP 1");
    open("", kPort, "a, \"b\"\\c");
    EXPECT_EQ(spooler.opened, ",XcvPort a, \"b\"\\c");
    EXPECT_EQ(spooler.closed.size(), 3u) << "every connection was closed";
}

TEST_F(XcvClient, RefusedConnectionThrowsTheCodeAndClosesNothing) {
    spooler.openError = ERROR_ACCESS_DENIED;
    spooler.handle = nullptr;
    EXPECT_EQ(codeOf([&] { open("", kPort, "P"); }), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(spooler.closed.empty());
}

TEST_F(XcvClient, NullHandleIsUsedAndNotClosed) {
    spooler.handle = nullptr;
    open("", kPort, "P").deletePort("P");
    EXPECT_EQ(spooler.commands.size(), 1u);
    EXPECT_TRUE(spooler.closed.empty());
}

TEST_F(XcvClient, NamesGoWideWithTheirTerminator) {
    {
        XcvConnection connection = open("", kMonitor, "M");
        connection.addPort("caf\xE9");
        connection.deletePort("");
    }
    ASSERT_EQ(spooler.commands.size(), 2u);
    EXPECT_EQ(spooler.commands[0].name, L"AddPort");
    const wchar_t expected[] = L"caf\xE9";
    const auto* bytes = reinterpret_cast<const std::byte*>(expected);
    EXPECT_EQ(spooler.commands[0].input, Block(bytes, bytes + sizeof expected));
    EXPECT_FALSE(spooler.commands[0].hasOutput);
    EXPECT_EQ(spooler.commands[0].outputSize, 0u);
    EXPECT_EQ(spooler.commands[1].name, L"DeletePort");
    EXPECT_EQ(spooler.commands[1].input, Block(2));
}

TEST_F(XcvClient, LongNamesAreCutAtTheChannelsLimit) {
    for (const std::size_t length : {1023u, 1024u, 1025u, 2000u}) {
        const std::string name(length, 'n');
        open("", kMonitor, "M").addPort(name);
        const std::size_t kept = std::min<std::size_t>(length, 1024);
        EXPECT_EQ(spooler.commands.back().input.size(), 2 * (kept + 1));
        EXPECT_EQ(portNameForChannel(name), name.substr(0, kept));
        // A port of a longer name may exist all the same.
        open("", kPort, "P").deletePort(name);
        EXPECT_EQ(spooler.commands.back().input.size(), 2 * (length + 1));
    }
}

TEST_F(XcvClient, RecordGoesPacked) {
    PortConfig config;
    config.name = "P";
    open("", kPort, "P").configPort(config);
    EXPECT_EQ(spooler.commands[0].name, L"ConfigPort");
    EXPECT_EQ(spooler.commands[0].input, defaultRecord("P"));
}

TEST_F(XcvClient, RecordIsFetchedIntoAZeroedKilobyte) {
    spooler.answer = defaultRecord("P");
    const PortConfig config = open("", kPort, "P").getConfigInfo("P");
    EXPECT_EQ(pack(config), defaultRecord("P"));
    EXPECT_EQ(spooler.commands[0].name, L"GetConfigInfo");
    EXPECT_EQ(spooler.commands[0].input, Bytes().text("P").data());
    EXPECT_EQ(spooler.commands[0].outputBefore, Block(1024));
}

TEST_F(XcvClient, RecordLongerThanAKilobyteComesBackEmpty) {
    spooler.answer = Block(1024, std::byte{'x'});
    EXPECT_EQ(open("", kPort, "P").getConfigInfo("P"), PortConfig())
        << "a record without an end is none";
    spooler.answer = Block(1025, std::byte{'x'});
    const PortConfig config = open("", kPort, "P").getConfigInfo("P");
    EXPECT_EQ(config.name, "");
    EXPECT_EQ(config.jobTemplate.jobPriority, 0u) << "the zeroed buffer was unpacked";
}

TEST_F(XcvClient, DirectoryIsFetchedInTwoCalls) {
    spooler.answer = Bytes().u32(1).u32(1).u32(0).text("All groups").u32(0).u32(0).data();
    CGroupsDB directory;
    open("", kMonitor, "M").getGroupsDB(directory);
    ASSERT_NE(directory.FindGroup(1), nullptr);
    EXPECT_EQ(directory.FindGroup(1)->name, "All groups");
    ASSERT_EQ(spooler.commands.size(), 2u);
    for (const Command& command : spooler.commands) {
        EXPECT_EQ(command.name, L"GetGroupsDB");
        EXPECT_TRUE(command.input.empty());
    }
    EXPECT_FALSE(spooler.commands[0].hasOutput);
    EXPECT_EQ(spooler.commands[0].outputSize, 0u);
    EXPECT_EQ(spooler.commands[1].outputSize, 31u);
}

Block directoryNamed(const std::string& name) {
    return Bytes().u32(1).u32(1).u32(0).text(name).u32(0).u32(0).data();
}

// Another administrator changes a port between the two calls.
TEST_F(XcvClient, DirectoryThatGrowsWhileItIsFetchedArrivesWhole) {
    spooler.answer = directoryNamed("All");
    spooler.laterAnswers = {directoryNamed("All groups"), directoryNamed("All groups of all")};
    CGroupsDB directory;
    open("", kMonitor, "M").getGroupsDB(directory);
    ASSERT_NE(directory.FindGroup(1), nullptr);
    EXPECT_EQ(directory.FindGroup(1)->name, "All groups of all");
    std::vector<DWORD> sizes;
    for (const Command& command : spooler.commands)
        sizes.push_back(command.outputSize);
    EXPECT_EQ(sizes, (std::vector<DWORD>{0, 24, 31, 38}));
}

TEST_F(XcvClient, DirectoryThatDoesNotStopGrowingIsAnError) {
    for (std::size_t length = 1; length < 100; ++length)
        spooler.laterAnswers.push_back(directoryNamed(std::string(length, 'n')));
    spooler.answer = directoryNamed("");
    CGroupsDB directory;
    directory.AddGroup("kept", 1);
    EXPECT_EQ(codeOf([&] { open("", kMonitor, "M").getGroupsDB(directory); }),
              static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(spooler.commands.size(), 12u) << "the size, the first try and ten more";
    EXPECT_EQ(directory.nodes().size(), 1u);
}

// A monitor that refuses without reporting the size that it needs is not called again.
TEST_F(XcvClient, RefusedSizeThatDoesNotGrowIsAnError) {
    spooler.status = ERROR_INSUFFICIENT_BUFFER;
    CGroupsDB directory;
    EXPECT_EQ(codeOf([&] { open("", kMonitor, "M").getGroupsDB(directory); }),
              static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(spooler.commands.size(), 2u);
}

TEST_F(XcvClient, DirectoryThatDoesNotArriveIsAnError) {
    CGroupsDB directory;
    directory.AddGroup("kept", 1);
    spooler.answer = Bytes().u32(2).u32(1).u32(0).text("cut").u32(0).data();
    EXPECT_EQ(codeOf([&] { open("", kMonitor, "M").getGroupsDB(directory); }),
              static_cast<DWORD>(ERROR_INVALID_DATA));
    spooler.answer.clear();
    spooler.status = ERROR_NOT_ENOUGH_MEMORY;
    EXPECT_EQ(codeOf([&] { open("", kMonitor, "M").getGroupsDB(directory); }),
              static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(directory.nodes().size(), 1u);
}

TEST_F(XcvClient, DirectoryGoesWholeAndARefusalIsAnError) {
    CGroupsDB directory;
    directory.AddGroup("G", 1);
    directory.SetPortPrinter("P", {"ipp://p", true, "u", "pw"});
    Block payload(directory.GetSize());
    directory.Serialize(payload.data());
    XcvConnection connection = open("", kMonitor, "M");
    connection.setGroupsDB(directory);
    EXPECT_EQ(spooler.commands[0].name, L"SetGroupsDB");
    EXPECT_EQ(spooler.commands[0].input, payload);
    EXPECT_FALSE(spooler.commands[0].hasOutput);
    spooler.status = ERROR_INVALID_PARAMETER;
    EXPECT_EQ(codeOf([&] { connection.setGroupsDB(directory); }),
              static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(XcvClient, StatusOfThePortCommandsIsNotExamined) {
    spooler.status = ERROR_INVALID_PARAMETER;
    XcvConnection connection = open("", kMonitor, "M");
    EXPECT_EQ(codeOf([&] {
                  connection.addPort("P");
                  connection.deletePort("P");
                  connection.configPort(PortConfig());
                  connection.getConfigInfo("P");
              }),
              std::nullopt);
}

TEST_F(XcvClient, RefusalOfTheSpoolerThrowsItsCode) {
    spooler.xcvError = ERROR_INVALID_HANDLE;
    XcvConnection connection = open("", kMonitor, "M");
    CGroupsDB directory;
    for (const std::function<void()>& command : std::initializer_list<std::function<void()>>{
             [&] { connection.addPort("P"); }, [&] { connection.deletePort("P"); },
             [&] { connection.configPort(PortConfig()); }, [&] { connection.getConfigInfo("P"); },
             [&] { connection.getGroupsDB(directory); },
             [&] { connection.setGroupsDB(directory); }})
        EXPECT_EQ(codeOf(command), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

}  // namespace
}  // namespace velmora::testing
