#include "velmoractl/server_runs.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <thread>

#include "platform/handle.h"
#include "velmoractl/text/console.h"

namespace velmora::ctl {
namespace {

constexpr std::size_t kMostAtOnce = 32;

SECURITY_ATTRIBUTES inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

std::string ownPath() {
    std::vector<char> path(32768);
    GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return path.data();
}

/// The output of a run, in a file that is deleted when it is closed. A pipe would not show its end,
/// since runs that are started in the meantime inherit it.
class OutputFile {
  public:
    OutputFile() {
        std::array<char, MAX_PATH + 1> folder{};
        std::array<char, MAX_PATH + 1> name{};
        if (GetTempPathA(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
            GetTempFileNameA(folder.data(), "vel", 0, name.data()) == 0) {
            throw systemError("the command", GetLastError(),
                              "check the folder of temporary files (TEMP)");
        }
        SECURITY_ATTRIBUTES attributes = inheritable();
        file_.reset(CreateFileA(name.data(), GENERIC_READ | GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                                nullptr));
        if (!file_)
            throw systemError("the command", GetLastError(),
                              "check the folder of temporary files (TEMP)");
    }

    HANDLE handle() const { return file_.get(); }

    std::string text() const {
        std::string text;
        std::array<char, 65536> piece{};
        SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN);
        DWORD count = 0;
        while (ReadFile(file_.get(), piece.data(), static_cast<DWORD>(piece.size()), &count,
                        nullptr) &&
               count > 0) {
            text.append(piece.data(), count);
        }
        return text;
    }

  private:
    UniqueFile file_;
};

/// A pipe of which only the reading end is inherited.
struct InputPipe {
    InputPipe() {
        SECURITY_ATTRIBUTES attributes = inheritable();
        if (!CreatePipe(reading.put(), writing.put(), &attributes, 0) ||
            !SetHandleInformation(writing.get(), HANDLE_FLAG_INHERIT, 0)) {
            throw systemError("the command", GetLastError(), "close programs and try again");
        }
    }

    void write(const std::string& text) {
        DWORD written = 0;
        for (std::size_t at = 0; at < text.size(); at += written) {
            // A run that has ended reads no more.
            if (!WriteFile(writing.get(), text.data() + at, static_cast<DWORD>(text.size() - at),
                           &written, nullptr))
                break;
        }
        writing.reset();
    }

    UniqueHandle<HANDLE, CloseHandle> reading;
    UniqueHandle<HANDLE, CloseHandle> writing;
};

ExitCode exitCodeOf(DWORD code) {
    if (code <= static_cast<DWORD>(ExitCode::restartNeeded)) return static_cast<ExitCode>(code);
    // How Windows ends a program on Ctrl-C.
    return code == STATUS_CONTROL_C_EXIT ? ExitCode::cancelled : ExitCode::failed;
}

/// The result of a run that this program has ended, or could not start.
ServerResult failed(const std::string& server, const CommandError& error) {
    const Json json{{"error",
                     {{"code", error.keyword()},
                      {"message", error.why()},
                      {"remedy", error.remedy()},
                      {"subject", error.subject()}}}};
    return {server, error.code(), json.dump(), "velmoractl: " + std::string(error.what()) + "\n"};
}

/// One run, from its start to what it has written.
class Run {
  public:
    Run(std::vector<std::string> words, const std::string& part) {
        SECURITY_ATTRIBUTES attributes = inheritable();
        answered_.reset(CreateEventA(&attributes, TRUE, FALSE, nullptr));
        const auto number = reinterpret_cast<std::uintptr_t>(answered_.get());
        words.insert(words.begin(), {ownPath(), part, std::to_string(number)});
        std::string line = joinedWords(words);
        STARTUPINFOA start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = input_.reading.get();
        start.hStdOutput = output_.handle();
        start.hStdError = errors_.handle();
        PROCESS_INFORMATION made{};
        if (!CreateProcessA(ownPath().c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                            nullptr, &start, &made)) {
            throw systemError("the command", GetLastError(), "close programs and try again");
        }
        UniqueThread(made.hThread).reset();
        process_.reset(made.hProcess);
        input_.reading.reset();
    }

    /// Whether it has ended, or its server has answered, within `limit`.
    bool answers(std::chrono::seconds limit) {
        const std::array handles{process_.get(), answered_.get()};
        const auto wait = std::chrono::milliseconds(limit).count();
        if (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                   static_cast<DWORD>(wait)) != WAIT_TIMEOUT) {
            return true;
        }
        TerminateProcess(process_.get(), static_cast<UINT>(ExitCode::failed));
        WaitForSingleObject(process_.get(), INFINITE);
        return false;
    }

    void write(const std::string& input) { input_.write(input); }

    ServerResult end(const std::string& server) {
        WaitForSingleObject(process_.get(), INFINITE);
        DWORD code = 0;
        GetExitCodeProcess(process_.get(), &code);
        return {server, exitCodeOf(code), output_.text(), errors_.text()};
    }

  private:
    OutputFile output_;
    OutputFile errors_;
    InputPipe input_;
    UniqueEvent answered_;
    UniqueHandle<HANDLE, CloseHandle> process_;
};

ServerResult runFor(const std::string& server, const std::vector<std::string>& words,
                    const std::string& part, const std::string& input, std::chrono::seconds limit) {
    try {
        Run run(wordsForServer(words, server), part);
        // A run that does not read yet may fill the pipe.
        std::jthread writer([&run, &input] { run.write(input); });
        if (run.answers(limit)) {
            writer.join();
            return run.end(server);
        }
        throw CommandError(ExitCode::failed, "the spooler",
                           "it has not answered after " + std::to_string(limit.count()) +
                               " seconds; nothing has been changed there",
                           "check that the computer is on, or give it more time with "
                           "--server-timeout",
                           "time-out");
    } catch (const CommandError& error) {
        return failed(server, error);
    }
}

}  // namespace

std::vector<ServerResult> runForServers(const std::vector<std::string>& servers,
                                        const std::vector<std::string>& words,
                                        const std::string& part, const std::string& input,
                                        std::chrono::seconds limit) {
    // Ctrl-C reaches the runs too, which know when they may end.
    const InterruptNote note;
    std::vector<ServerResult> results(servers.size());
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min(servers.size(), kMostAtOnce); ++i) {
        threads.emplace_back([&] {
            for (std::size_t at = next++; at < servers.size(); at = next++)
                results[at] = runFor(servers[at], words, part, input, limit);
        });
    }
    threads.clear();
    return results;
}

void noteAnswer(const std::string& handle) {
    if (handle.empty()) return;
    const auto number = static_cast<std::uintptr_t>(std::strtoull(handle.c_str(), nullptr, 10));
    SetEvent(reinterpret_cast<HANDLE>(number));
}

}  // namespace velmora::ctl
