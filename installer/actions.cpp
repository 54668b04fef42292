// The actions of the package for Windows Installer. The work is done by velmoractl, whose output
// goes into the installer's log. Checks run before the first change and as the user; the others run
// as the system. https://learn.microsoft.com/windows/win32/msi/custom-action-type-1
#include <windows.h>
// After windows.h.
#include <msi.h>
#include <msiquery.h>
#include <winspool.h>

#include <array>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "platform/handle.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/console.h"

namespace velmora {
namespace {

constexpr wchar_t kTool[] = L"velmoractl.exe";
constexpr wchar_t kLibrary[] = L"Velmora.dll";
constexpr wchar_t kSettings[] = L"Velmora.dat";
/// A file in the program's folder: the spooler still uses the old library.
constexpr wchar_t kRestartMark[] = L"restart-wanted";
/// A folder in the program's folder: what was there before, while a new version is set up.
constexpr wchar_t kBefore[] = L"before";
constexpr DWORD kDone = 0;
constexpr DWORD kAccessDenied = 5;
constexpr DWORD kRestartNeeded = 10;
/// An import of thousands of ports takes minutes.
constexpr DWORD kLongestRun = 30 * 60 * 1000;

using Text = std::wstring;
using UniqueProcess = UniqueHandle<HANDLE, CloseHandle>;
using UniquePipe = UniqueHandle<HANDLE, CloseHandle>;

Text wide(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    Text text(utf8.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(
        CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()))));
    return text;
}

/// The session of the installer that runs the action.
class Session {
  public:
    explicit Session(MSIHANDLE handle) : handle_(handle) {}

    Text property(const wchar_t* name) const {
        DWORD size = 0;
        wchar_t none[] = L"";
        if (MsiGetPropertyW(handle_, name, none, &size) != ERROR_MORE_DATA) return {};
        Text value(++size, L'\0');
        if (MsiGetPropertyW(handle_, name, value.data(), &size) != ERROR_SUCCESS) return {};
        value.resize(size);
        return value;
    }

    /// The words that a property of the same name as the action holds, between bars: the system's
    /// half of the installer knows no other properties.
    std::vector<Text> words() const {
        const Text data = property(L"CustomActionData");
        std::vector<Text> words(1);
        for (const wchar_t c : data) {
            if (c == L'|')
                words.emplace_back();
            else
                words.back() += c;
        }
        return words;
    }

    void log(const Text& line) const { message(INSTALLMESSAGE_INFO, line); }

    /// Says why nothing is installed; the action's result.
    UINT fail(const Text& why) const {
        message(static_cast<INSTALLMESSAGE>(INSTALLMESSAGE_ERROR | MB_OK | MB_ICONERROR), why);
        return ERROR_INSTALL_FAILURE;
    }

    void restartAtEnd() const { MsiSetMode(handle_, MSIRUNMODE_REBOOTATEND, TRUE); }

  private:
    void message(INSTALLMESSAGE kind, const Text& line) const {
        PMSIHANDLE record = MsiCreateRecord(1);
        MsiRecordSetStringW(record, 0, L"Velmora: [1]");
        MsiRecordSetStringW(record, 1, line.c_str());
        MsiProcessMessage(handle_, kind, record);
    }

    MSIHANDLE handle_;
};

bool exists(const Text& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

Text systemFile(const wchar_t* name) {
    std::array<wchar_t, MAX_PATH> folder{};
    GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return Text(folder.data()) + L"\\" + name;
}

/// A word of a command line, as the C library of the program reads it. A backslash before the
/// closing quotation mark would take it into the word.
Text quoted(Text word) {
    while (word.ends_with(L'\\'))
        word.pop_back();
    return L"\"" + word + L"\"";
}

struct Ended {
    DWORD code;
    Text lastLine;  ///< of what it said
};

/// Runs velmoractl to its end; its lines go into the log. Empty if it does not start.
class Tool {
  public:
    Tool(const Session& session, const Text& folder)
        : session_(session), program_(folder + kTool) {}

    bool there() const { return exists(program_); }

    std::optional<Ended> run(const Text& words) const {
        session_.log(L"velmoractl " + words);
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        UniquePipe from;
        UniquePipe to;
        if (!CreatePipe(from.put(), to.put(), &inherited, 0)) return std::nullopt;
        SetHandleInformation(from.get(), HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = to.get();
        startup.hStdError = to.get();
        PROCESS_INFORMATION started{};
        Text command = quoted(program_) + L" " + words;
        if (!CreateProcessW(program_.c_str(), command.data(), nullptr, nullptr, TRUE,
                            CREATE_NO_WINDOW, nullptr, nullptr, &startup, &started))
            return std::nullopt;
        const UniqueThread thread(started.hThread);
        const UniqueProcess process(started.hProcess);
        to.reset();
        Ended ended{STILL_ACTIVE, logged(from.get())};
        if (WaitForSingleObject(process.get(), kLongestRun) != WAIT_OBJECT_0)
            TerminateProcess(process.get(), ERROR_TIMEOUT);
        GetExitCodeProcess(process.get(), &ended.code);
        session_.log(L"velmoractl ended with " + std::to_wstring(ended.code));
        return ended;
    }

  private:
    Text logged(HANDLE from) const {
        std::string all;
        std::array<char, 4096> piece{};
        DWORD size = 0;
        while (ReadFile(from, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) &&
               size > 0)
            all.append(piece.data(), size);
        Text last;
        for (std::size_t begin = 0; begin < all.size();) {
            std::size_t end = all.find('\n', begin);
            if (end == std::string::npos) end = all.size();
            std::string line = all.substr(begin, end - begin);
            begin = end + 1;
            while (line.ends_with('\r'))
                line.pop_back();
            if (line.empty()) continue;
            last = wide(line);
            session_.log(last);
        }
        return last;
    }

    const Session& session_;
    Text program_;
};

/// Why the tool failed; empty if it succeeded.
std::optional<Text> refusal(const std::optional<Ended>& ended) {
    if (!ended) return L"velmoractl.exe does not start";
    if (ended->code == kDone) return std::nullopt;
    return ended->lastLine.empty() ? L"velmoractl ended with " + std::to_wstring(ended->code)
                                   : ended->lastLine;
}

bool spoolerAnswers() {
    DWORD needed = 0;
    DWORD count = 0;
    return EnumMonitorsW(nullptr, 1, nullptr, 0, &needed, &count) ||
           GetLastError() == ERROR_INSUFFICIENT_BUFFER;
}

/// Why there is not enough room on the drive of the folder, which need not exist yet.
std::optional<Text> tooFull(Text folder, std::uint64_t needed) {
    while (!exists(folder) && folder.find(L'\\') != Text::npos)
        folder.resize(folder.rfind(L'\\'));
    ULARGE_INTEGER free{};
    if (!GetDiskFreeSpaceExW((folder + L"\\").c_str(), &free, nullptr, nullptr) ||
        free.QuadPart >= needed)
        return std::nullopt;
    return L"the drive of " + folder + L" has " + std::to_wstring(free.QuadPart / 1024) +
           L" KiB free; " + std::to_wstring(needed / 1024) + L" KiB are needed";
}

bool listed(const Text& words, const Text& word) {
    return (L"," + words + L",").find(L"," + word + L",") != Text::npos;
}

/// Why the fleet file cannot be imported, as far as the file alone shows it.
std::optional<Text> badFleet(const Text& path) {
    const UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string text;
    std::array<char, 1 << 16> piece{};
    DWORD size = 0;
    BOOL read = FALSE;
    while (file &&
           (read = ReadFile(file.get(), piece.data(), static_cast<DWORD>(piece.size()), &size,
                            nullptr)) &&
           size > 0)
        text.append(piece.data(), size);
    if (!read)
        return L"the file " + path + L" cannot be read (error " + std::to_wstring(GetLastError()) +
               L")";
    try {
        ctl::checkConfiguration(text, ctl::systemCodec());
    } catch (const ctl::FileError& error) {
        return L"the file " + path + L": " + wide(error.what());
    }
    return std::nullopt;
}

/// All checks that can be made before the first change.
UINT checkInstall(const Session& session) {
    const Text language = session.property(L"LANGUAGE");
    const Text languages = session.property(L"VELMORALANGUAGES");
    if (!language.empty() && !listed(languages, language))
        return session.fail(L"there is no language " + language + L"; there are " + languages);
    const Text policy = session.property(L"POLICY");
    if (!policy.empty() && policy != L"none" && policy != L"standard")
        return session.fail(L"POLICY is none or standard, and not " + policy);
    const Text fleet = session.property(L"FLEET");
    if (!fleet.empty()) {
        if (const auto why = badFleet(fleet)) return session.fail(*why);
    }
    const std::uint64_t needed =
        std::wcstoull(session.property(L"VELMORABYTES").c_str(), nullptr, 10);
    if (const auto full = tooFull(session.property(L"INSTALLDIR"), needed))
        return session.fail(*full);
    if (const auto full = tooFull(systemFile(L""), needed)) return session.fail(*full);
    if (!spoolerAnswers())
        return session.fail(
            L"the print spooler does not answer; start it (net start spooler) and "
            L"install again");
    return ERROR_SUCCESS;
}

UINT checkUninstall(const Session& session) {
    const Tool tool(session, session.property(L"INSTALLDIR"));
    if (!tool.there()) return ERROR_SUCCESS;
    const std::optional<Ended> ended = tool.run(L"uninstall --dry-run");
    // A user's own rights may not be enough to ask; the removal itself runs as the system.
    if (ended && ended->code == kAccessDenied) return ERROR_SUCCESS;
    if (const auto why = refusal(ended)) return session.fail(*why);
    return ERROR_SUCCESS;
}

/// The monitor's state before a new version is set up, and how it is restored.
class Before {
  public:
    Before(const Tool& tool, const Text& folder)
        : tool_(tool),
          folder_(folder + kBefore),
          there_(exists(systemFile(kLibrary))),
          settings_(exists(systemFile(kSettings))) {
        if (!there_) return;
        remove();
        CreateDirectoryW(folder_.c_str(), nullptr);
        CopyFileW(systemFile(kLibrary).c_str(), file(kLibrary).c_str(), FALSE);
        CopyFileW(systemFile(kSettings).c_str(), file(kSettings).c_str(), FALSE);
        // Only its owner may read the file with the passwords.
        const std::optional<Ended> ended =
            tool_.run(L"export --with-passwords --quiet " + quoted(file(kPorts)));
        exported_ = ended && ended->code == kDone;
    }
    ~Before() { remove(); }
    Before(const Before&) = delete;
    Before& operator=(const Before&) = delete;

    /// Whether the monitor was set up already.
    bool there() const { return there_; }

    /// `imported`: whether ports may have been changed.
    void restore(bool imported) const {
        if (!there_) {
            // The settings of an earlier installation are kept; this one has none yet.
            tool_.run(settings_ ? L"uninstall --ports keep" : L"uninstall --ports remove");
            return;
        }
        tool_.run(L"install --allow-downgrade --replace-settings --policy none --from " +
                  quoted(folder_));
        if (imported && exported_)
            tool_.run(L"import --remove-others --allow-unencrypted " + quoted(file(kPorts)));
    }

  private:
    static constexpr wchar_t kPorts[] = L"ports.json";

    Text file(const wchar_t* name) const { return folder_ + L"\\" + name; }
    void remove() const {
        for (const wchar_t* name : {kLibrary, kSettings, kPorts})
            DeleteFileW(file(name).c_str());
        RemoveDirectoryW(folder_.c_str());
    }

    const Tool& tool_;
    Text folder_;
    bool there_;
    bool settings_;
    bool exported_ = false;
};

/// words: folder, LANGUAGE, POLICY, RESTARTSPOOLER, FLEET
UINT install(const Session& session) {
    std::vector<Text> words = session.words();
    words.resize(5);
    const Text& folder = words[0];
    const Tool tool(session, folder);
    const Before before(tool, folder);
    const Text mark = folder + kRestartMark;
    DeleteFileW(mark.c_str());

    Text options;
    if (!words[1].empty()) options += L" --language " + quoted(words[1]);
    // A computer that was set up without a policy stays without one.
    const Text policy = words[2].empty() && before.there() ? Text(L"none") : words[2];
    if (!policy.empty()) options += L" --policy " + quoted(policy);
    std::optional<Ended> ended = tool.run(L"install" + options);
    // Only a library in use is worth the restart: a repair of what is whole interrupts nobody.
    if (ended && ended->code == kRestartNeeded && words[3] == L"1")
        ended = tool.run(L"install --restart-spooler" + options);
    if (ended && ended->code == kRestartNeeded) {
        const UniqueFile file(CreateFileW(mark.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
    } else if (const auto why = refusal(ended)) {
        before.restore(false);
        return session.fail(*why);
    }
    if (!words[4].empty()) {
        if (const auto why = refusal(tool.run(L"import --quiet " + quoted(words[4])))) {
            before.restore(true);
            DeleteFileW(mark.c_str());
            return session.fail(*why);
        }
    }
    return ERROR_SUCCESS;
}

/// words: folder, REMOVECONFIGURATION
UINT uninstall(const Session& session) {
    std::vector<Text> words = session.words();
    words.resize(2);
    DeleteFileW((words[0] + kRestartMark).c_str());
    const Tool tool(session, words[0]);
    if (!tool.there()) {
        session.log(L"velmoractl.exe is missing: the monitor stays registered with the spooler");
        return ERROR_SUCCESS;
    }
    if (const auto why = refusal(
            tool.run(words[1] == L"1" ? L"uninstall --ports remove" : L"uninstall --ports keep")))
        return session.fail(*why);
    return ERROR_SUCCESS;
}

/// The removal of the files has failed, and they are back.
UINT undoUninstall(const Session& session) {
    Tool(session, session.words()[0]).run(L"install");
    return ERROR_SUCCESS;
}

/// After the installation: 3010 instead of 0.
UINT restartWanted(const Session& session) {
    if (exists(session.property(L"INSTALLDIR") + kRestartMark)) {
        session.log(L"the spooler uses the new library after a restart");
        session.restartAtEnd();
    }
    return ERROR_SUCCESS;
}

/// No exception reaches the installer.
UINT carryOut(MSIHANDLE handle, UINT (*action)(const Session&)) noexcept {
    try {
        return action(Session(handle));
    } catch (const std::exception&) {
        return ERROR_INSTALL_FAILURE;
    }
}

}  // namespace
}  // namespace velmora

extern "C" {
UINT WINAPI CheckInstall(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::checkInstall);
}
UINT WINAPI CheckUninstall(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::checkUninstall);
}
UINT WINAPI Install(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::install);
}
UINT WINAPI Uninstall(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::uninstall);
}
UINT WINAPI UndoUninstall(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::undoUninstall);
}
UINT WINAPI RestartWanted(MSIHANDLE session) {
    return velmora::carryOut(session, velmora::restartWanted);
}
}
