// Every verb of the administration tool on a machine in trouble: of the calls that it makes to the
// platform one fails, each in its turn. The verb then does its work all the same, or ends with one
// of the documented exit codes and one line that says what has failed; what is stored is what it
// was, or the line says what has been done; and the same command succeeds at once when all is well
// again. The verbs run in this program, from a library made of the tool's own code. Some calls of
// each kind are tried, and all of them where VELMORA_EVERY_CALL is set.
#include <windows.h>

#include <winspool.h>

#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "harness/failing_calls.h"
#include "harness/monitor_keys.h"
#include "tests/contract/fault_scenarios.h"

namespace velmora::testing {
namespace {

constexpr const char* kFolder = "C:\\failing-verbs";
constexpr const char* kDriver = "Plaintext";
constexpr const char* kEnvironment = "Windows NT x86";
constexpr const char* kEventSource =
    "System\\CurrentControlSet\\Services\\EventLog\\Application\\Velmora";

// What the verbs write and read instead of the standard streams.
std::string saidOut;
std::string saidError;
std::string input;
std::size_t inputRead = 0;

std::size_t __cdecl captureText(const void* text, std::size_t size, std::size_t count,
                                std::FILE* stream) {
    if (stream != stdout && stream != stderr) return std::fwrite(text, size, count, stream);
    (stream == stdout ? saidOut : saidError).append(static_cast<const char*>(text), size * count);
    return count;
}

int __cdecl typedCharacter() {
    return inputRead < input.size() ? static_cast<unsigned char>(input[inputRead++]) : EOF;
}

/// Where a run goes on when the tool ends itself, and the thread that is there.
void* wayBack[5];
DWORD runningThread = 0;
UINT endCode = 0;

/// The process stays. What the tool had open then is not given back.
BOOL WINAPI endRun(HANDLE, UINT code) {
    if (GetCurrentThreadId() != runningThread) {
        std::fprintf(stderr, "the tool ends itself in another thread: %s\n", saidError.c_str());
        std::fflush(stderr);
        std::abort();
    }
    endCode = code;
    __builtin_longjmp(wayBack, 1);
}

std::string programFolder() {
    std::array<char, MAX_PATH> path{};
    GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::string text = path.data();
    return text.substr(0, text.find_last_of('\\'));
}

std::string systemFile(const std::string& name) {
    std::array<char, MAX_PATH> directory{};
    GetSystemDirectoryA(directory.data(), static_cast<UINT>(directory.size()));
    return std::string(directory.data()) + "\\" + name;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string readFile(const std::string& path) {
    std::ostringstream contents;
    contents << std::ifstream(path, std::ios::binary).rdbuf();
    return contents.str();
}

template <class Function>
void patchWith(std::vector<std::unique_ptr<ImportPatch>>& patches, HMODULE module,
               const char* library, const char* name, Function* replacement) {
    patches.push_back(std::make_unique<ImportPatch>(
        library, name, reinterpret_cast<void (*)()>(replacement), module));
}

/// The tool's verbs in this process.
class ToolVerbs {
  public:
    struct Outcome {
        int code = 0;
        std::string out;
        std::string err;
    };

    ToolVerbs() : module_(LoadLibraryA("velmoractl_verbs.dll")) {
        if (module_ == nullptr) throw std::runtime_error("the tool's verbs do not load");
        patchWith(patches_, module_, "msvcrt.dll", "fwrite", &captureText);
        patchWith(patches_, module_, "msvcrt.dll", "getchar", &typedCharacter);
        patchWith(patches_, module_, "KERNEL32.dll", "TerminateProcess", &endRun);
        pauses_.emplace(module_);
        const auto address = GetProcAddress(module_, "wmain");
        main_ =
            reinterpret_cast<int(__cdecl*)(int, wchar_t**)>(reinterpret_cast<void (*)()>(address));
    }

    HMODULE module() const { return module_; }

    Outcome run(const std::string& words, const std::string& typed = {}) const {
        std::vector<std::wstring> list{L"velmoractl"};
        std::istringstream stream(words);
        for (std::string word; stream >> word;)
            list.emplace_back(word.begin(), word.end());
        std::vector<wchar_t*> pointers;
        for (std::wstring& word : list)
            pointers.push_back(word.data());
        saidOut.clear();
        saidError.clear();
        input = typed;
        inputRead = 0;
        call(static_cast<int>(pointers.size()), pointers.data());
        return {static_cast<int>(endCode), saidOut, saidError};
    }

  private:
    /// Returns when the tool has ended itself, which is how it always ends.
    [[gnu::noinline]] void call(int count, wchar_t** words) const {
        runningThread = GetCurrentThreadId();
        if (__builtin_setjmp(wayBack) == 0) main_(count, words);
    }

    HMODULE module_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
    std::optional<ShortPauses> pauses_;
    int(__cdecl* main_)(int, wchar_t**) = nullptr;
};

struct Verb {
    std::string words;
    int code = 0;  ///< when nothing fails
    std::string typed = {};
    /// Only the command line: calls for memory count from the first one on, and few are tried.
    bool wordsAlone = false;
    /// What there is before it, beside ports and printers.
    bool queue = true;
    bool monitor = true;
};

class FailingVerbs : public ::testing::Test {
  protected:
    using State = std::map<std::string, std::string>;

    static void SetUpTestSuite() {
        CreateDirectoryA(kFolder, nullptr);
        const std::string driver =
            std::string("System\\CurrentControlSet\\Control\\Print\\Environments\\") +
            kEnvironment + "\\Drivers\\Version-3\\" + kDriver;
        for (const char* value : {"Driver", "Configuration File", "Data File"})
            writeText(driver, value, "wineps.drv");
        writeRegistryRaw(driver, "Version", REG_DWORD, Bytes().u32(3).data());
        for (const char* port : {"One", "Four"})
            RegCloseKey(createdKey(kMonitorKey + "\\Ports\\" + port));
        writeText(kMonitorKey, "Driver", "velmora_shim.dll");
        CopyFileA((programFolder() + "\\Velmora.dll").c_str(),
                  (std::string(kFolder) + "\\Velmora.dll").c_str(), FALSE);
        machine();
    }
    static void TearDownTestSuite() {
        total().print("all verbs");
        SHDeleteKeyA(HKEY_LOCAL_MACHINE, kMonitorKey.c_str());
        SHDeleteKeyA(HKEY_LOCAL_MACHINE, kEventSource);
        for (const char* file : {"Velmora.dll", "out.json", "in.json", "page.ps", "Velmora.dat"})
            DeleteFileA((std::string(kFolder) + "\\" + file).c_str());
        RemoveDirectoryA(kFolder);
        DeleteFileA(systemFile("Velmora.dll").c_str());
        cleanState();
    }

    /// The process-wide parts: the library once for all tests, since the spooler of this process
    /// keeps it.
    struct Machine {
        InstantPrinters printers;
        BuiltDll dll;
        ShortPauses pauses{dll.module()};
        ToolVerbs tool;
        FailingCalls calls{tool.module(), FailingCalls::Caller::tool};
    };
    static Machine& machine() {
        static Machine one;
        return one;
    }
    static TriedPlaces& total() {
        static TriedPlaces places;
        return places;
    }

    static HKEY createdKey(const std::string& path) {
        HKEY key = nullptr;
        RegCreateKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key);
        return key;
    }
    static void writeText(const std::string& key, const char* value, const std::string& text) {
        writeRegistryRaw(key, value, REG_SZ,
                         std::as_bytes(std::span(text.c_str(), text.size() + 1)));
    }

    // The state from which every command starts.

    static Block fourPrintersAndAGroup() {
        Bytes directory = Bytes().u32(6).u32(1).u32(0).text("All groups").u32(0);
        for (unsigned id = 2; id < 6; ++id) {
            const std::string url = "ipp://localhost/" + std::to_string(id);
            directory.u32(id).u32(1).text("P" + std::to_string(id)).u32(1).text(url);
            directory.u8(1).text("user").text("password");
        }
        return directory.u32(6).u32(1).text("Floor").u32(0).u32(0).data();
    }

    static void restore(const Verb& verb) {
        cleanState();
        SHDeleteKeyA(HKEY_LOCAL_MACHINE, kEventSource);
        DeleteFileA(systemFile("Velmora.dll").c_str());
        const std::string settings =
            "[Strings]\r\nPort Monitor Name=Velmora\r\nAppRegKey=AppRegKey\r\n";
        writeSettingsFile(settings);
        writeFile(std::string(kFolder) + "\\Velmora.dat", settings);
        writeRegistryBinary(kPortsKey, "One", recordOf("One", "ipp://localhost/one"));
        writeRegistryBinary(kPortsKey, "Four", recordOf("Four", ""));
        const Table table = machine().dll.monitor2();
        DWORD needed = 0;
        const Block directory = fourPrintersAndAGroup();
        EXPECT_EQ(table.entry<XcvDataPortEntry>(16)(nullptr, L"SetGroupsDB", directory.data(),
                                                    static_cast<DWORD>(directory.size()), nullptr,
                                                    0, &needed),
                  0u);
        restoreMonitor(verb.monitor);
        if (verb.monitor) restoreQueues(verb.queue);
        writeFile(std::string(kFolder) + "\\page.ps", "%!PS\n");
        writeFile(std::string(kFolder) + "\\in.json",
                  "{\"format\":\"velmora-configuration\",\"version\":1,\"ports\":[{\"name\":"
                  "\"New\",\"url\":\"ipp://localhost/new\"},{\"name\":\"Other\",\"url\":"
                  "\"ipp://localhost/other\"}]}");
        DeleteFileA((std::string(kFolder) + "\\out.json").c_str());
    }
    static void restoreMonitor(bool wanted) {
        std::string name = kMonitor;
        std::string library = "velmora_shim.dll";
        const Block driver = readRegistry(kMonitorKey, "Driver");
        const bool there = driver.size() > library.size() &&
                           std::memcmp(driver.data(), library.c_str(), library.size() + 1) == 0;
        if (there && wanted) return;
        if (!driver.empty()) DeleteMonitorA(nullptr, nullptr, name.data());
        if (!wanted) return;
        MONITOR_INFO_2A info{name.data(), nullptr, library.data()};
        AddMonitorA(nullptr, 2, reinterpret_cast<BYTE*>(&info));
        for (const char* port : {"One", "Four"})
            RegCloseKey(createdKey(kMonitorKey + "\\Ports\\" + port));
    }
    static bool registryHas(const std::string& path) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != 0) return false;
        RegCloseKey(key);
        return true;
    }
    static void restoreQueues(bool wanted) {
        const std::optional<State> queues = queueNames();
        if (!queues) return;
        const State good = wanted ? State{{"Q", std::string("One|") + kDriver + "||"}} : State{};
        if (*queues == good) return;
        for (const auto& queue : *queues) {
            std::string name = queue.first;
            HANDLE printer = nullptr;
            PRINTER_DEFAULTSA rights{nullptr, nullptr, PRINTER_ALL_ACCESS};
            if (!OpenPrinterA(name.data(), &printer, &rights)) continue;
            DeletePrinter(printer);
            ClosePrinter(printer);
        }
        if (!wanted) return;
        std::string name = "Q", port = "One", driver = kDriver, processor = "winprint",
                    type = "RAW", none;
        PRINTER_INFO_2A info{};
        info.pPrinterName = name.data();
        info.pPortName = port.data();
        info.pDriverName = driver.data();
        info.pPrintProcessor = processor.data();
        info.pDatatype = type.data();
        info.pLocation = info.pComment = info.pShareName = info.pSepFile = info.pParameters =
            none.data();
        ClosePrinter(AddPrinterA(nullptr, 2, reinterpret_cast<BYTE*>(&info)));
    }

    /// The spooler's queues with what they are; none if it cannot be asked.
    static std::optional<State> queueNames() {
        std::vector<BYTE> area(16384);
        DWORD needed = 0, count = 0;
        if (!EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 2, area.data(),
                           static_cast<DWORD>(area.size()), &needed, &count))
            return std::nullopt;
        const auto* const info = reinterpret_cast<const PRINTER_INFO_2A*>(area.data());
        const auto text = [](const char* given) { return std::string(given ? given : ""); };
        State queues;
        for (DWORD i = 0; i < count; ++i)
            queues[text(info[i].pPrinterName)] =
                text(info[i].pPortName) + "|" + text(info[i].pDriverName) + "|" +
                text(info[i].pLocation) + "|" + text(info[i].pComment);
        return queues;
    }

    static State state() {
        State found;
        readKey(kDefaultMonitorKey, found);
        if (const auto queues = queueNames())
            for (const auto& [name, what] : *queues)
                found["queue " + name] = what;
        for (const std::string& file :
             {systemFile("Velmora.dll"), std::string(kFolder) + "\\out.json"}) {
            const DWORD attributes = GetFileAttributesA(file.c_str());
            if (attributes != INVALID_FILE_ATTRIBUTES)
                found["file " + file] = file.ends_with("json") ? readFile(file) : "there";
        }
        for (const std::string& key : {std::string(kEventSource), kMonitorKey})
            if (registryHas(key)) found["key " + key];
        return found;
    }
    static std::vector<std::string> errorLines(const std::string& err) {
        std::vector<std::string> lines;
        std::istringstream stream(err);
        for (std::string line; std::getline(stream, line);)
            if (!line.starts_with("velmoractl: warning: ")) lines.push_back(line);
        return lines;
    }

    void tryVerbs(const std::vector<Verb>& verbs) {
        for (const Verb& verb : verbs)
            tryVerb(verb);
    }

    void tryVerb(const Verb& verb) {
        SCOPED_TRACE(verb.words);
        Trial trial{verb};
        restore(verb);
        trial.old = state();
        // The second one: what is made once is there.
        machine().tool.run(verb.words, verb.typed);
        restore(verb);
        machine().calls.fail(std::numeric_limits<std::size_t>::max(), kEveryFault,
                             !verb.wordsAlone);
        trial.good = machine().tool.run(verb.words, verb.typed);
        machine().calls.succeed();
        ASSERT_EQ(trial.good.code, verb.code) << trial.good.out << trial.good.err;
        trial.wanted = state();
        const bool all = std::getenv("VELMORA_EVERY_CALL") != nullptr;
        constexpr std::size_t kPlaces = 3;
        std::array<std::size_t, kFaultKinds> calls{};
        std::ranges::transform(kEachFault, calls.begin(), &FailingCalls::calls);
        for (std::size_t i = 0; i < kFaultKinds; ++i) {
            // Who is not woken waits for the end of the time.
            const std::size_t some = kEachFault[i] == kEventFault ? 1 : kPlaces;
            const std::size_t most = !all                                               ? some
                                     : verb.wordsAlone && kEachFault[i] == kMemoryFault ? 500
                                                                                        : calls[i];
            for (const std::size_t index : spaced(calls[i], most))
                tryPlace(trial, kEachFault[i], index);
        }
        EXPECT_GT(trial.tried.all(), 0u) << verb.words;
        trial.tried.print(verb.words);
        total().add(trial.tried);
    }

    struct Trial {
        const Verb& verb;
        State old = {};
        State wanted = {};
        ToolVerbs::Outcome good = {};
        TriedPlaces tried = {};
    };

    void tryPlace(Trial& trial, FaultKind kind, std::size_t index) {
        restore(trial.verb);
        machine().calls.fail(index, kind, !trial.verb.wordsAlone);
        const ToolVerbs::Outcome outcome = machine().tool.run(trial.verb.words, trial.verb.typed);
        const FailingCalls::Fault fault = machine().calls.succeed();
        if (fault.function == nullptr) return;
        trial.tried.add(kind);
        SCOPED_TRACE(std::string(fault.function) + " fails, call number " + std::to_string(index) +
                     " of its kind; exit code " + std::to_string(outcome.code) + "\n" +
                     outcome.out.substr(0, 400) + outcome.err);
        expectDocumented(trial, outcome);
        restore(trial.verb);
        const ToolVerbs::Outcome next = machine().tool.run(trial.verb.words, trial.verb.typed);
        EXPECT_EQ(next.code, trial.good.code) << "the next call: " << next.err;
        EXPECT_EQ(state(), trial.wanted) << "the next call";
    }

    static void expectDocumented(const Trial& trial, const ToolVerbs::Outcome& outcome) {
        constexpr int kLastCode = 10;
        EXPECT_GE(outcome.code, 0);
        EXPECT_LE(outcome.code, kLastCode);
        const std::vector<std::string> lines = errorLines(outcome.err);
        const State now = state();
        if (outcome.code == 0) {
            EXPECT_TRUE(lines.empty());
            EXPECT_EQ(now, trial.wanted) << "not all of it is done";
            return;
        }
        EXPECT_EQ(lines.size(), 1u);
        for (const std::string& line : lines) {
            EXPECT_TRUE(std::regex_match(line, std::regex("velmoractl: .*: .*; .*"))) << line;
            EXPECT_EQ(line.find("please report this"), line.npos) << line;
        }
        if (now == trial.old || now == trial.wanted) return;
        // Something has been done, which the line tells.
        static const std::regex kTold(
            "has been|have been|are done|was done|is done|not taken back|as it was"
            "|some of|not all|what is left|in part|run .* again");
        EXPECT_TRUE(std::regex_search(outcome.err, kTold)) << "half done without a word";
    }
};

TEST_F(FailingVerbs, CommandLine) {
    tryVerbs({{.words = "--help", .wordsAlone = true},
              {.words = "completion bash", .wordsAlone = true},
              {.words = "port add", .code = 2, .wordsAlone = true},
              {"complete-words port show ="}});
}

TEST_F(FailingVerbs, Ports) {
    tryVerbs({{"port list"},
              {"port list --json"},
              {"port show One"},
              {"port show Nobody", 3},
              {"port add New --url ipp://localhost/new --user u --password p"},
              {"port set One --copies 2"},
              {"port set --all --copies 2"},
              {"port copy One Two --url ipp://localhost/two"},
              {"port rename Four Vier"},
              {"port remove Four"}});
}

TEST_F(FailingVerbs, Queues) {
    tryVerbs({{"queue list"},
              {"queue add Second --port One --driver Plaintext"},
              {"queue set Q --comment Changed"},
              {"queue remove Q"},
              {"driver list"}});
}

TEST_F(FailingVerbs, Directory) {
    tryVerbs({{"group list"},
              {"group add Attic"},
              {"group rename Floor Other"},
              {"group remove Floor"},
              {"printer list"},
              {"printer show #2"},
              {"printer add Laser --url ipp://localhost/laser"},
              {"printer set #2 --url ipp://localhost/other"},
              {"printer rename #2 Laser"},
              {"printer remove #2"}});
}

TEST_F(FailingVerbs, Passwords) {
    tryVerbs({{"password set --all --password-stdin", 0, "secret\n"}});
}

TEST_F(FailingVerbs, Policies) {
    tryVerbs(
        {{"policy"}, {"policy list --json"}, {"policy set DeliveryRecord=20"}, {"policy reset"}});
}

TEST_F(FailingVerbs, Files) {
    tryVerbs({{"export C:\\failing-verbs\\out.json"},
              {"import C:\\failing-verbs\\in.json --dry-run"},
              {"import C:\\failing-verbs\\in.json"},
              {"diff C:\\failing-verbs\\in.json", 9}});
}

TEST_F(FailingVerbs, Printers) {
    tryVerbs({{"status --timeout 10"},
              {"status --no-probe --json"},
              {"probe ipp://localhost/one --timeout 10"},
              {"probe --port Four --timeout 10"},
              {"jobs ipp://localhost/one --timeout 10"},
              {"job cancel ipp://localhost/one 12 --timeout 10", 7},
              {"certificate show https://localhost/one --timeout 10", 7},
              {"deliveries"}});
}

TEST_F(FailingVerbs, Print) {
    tryVerbs({{"print C:\\failing-verbs\\page.ps --port One --no-check --timeout 10 --wait 0"}});
}

TEST_F(FailingVerbs, Setup) {
    tryVerbs({{"install --from C:\\failing-verbs"},
              {.words = "install --from C:\\failing-verbs", .monitor = false},
              {"uninstall --ports keep", 4},
              {.words = "uninstall --ports keep", .queue = false},
              {.words = "uninstall --ports remove", .queue = false}});
}

}  // namespace
}  // namespace velmora::testing
