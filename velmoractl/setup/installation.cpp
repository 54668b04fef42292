#include "velmoractl/setup/installation.h"

// Not part of WIN32_LEAN_AND_MEAN's windows.h.
#include <winspool.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "platform/handle.h"
#include "port/delivery_directory.h"
#include "port/policy.h"
#include "velmoractl/policy_key.h"
#include "velmoractl/setup/library_check.h"
#include "velmoractl/setup/spooler_setup.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/undo.h"

namespace velmora::ctl {
namespace {

constexpr char kStrings[] = "Strings";
constexpr char kAsAdministrator[] = "run the command as administrator";

using UniqueFind = UniqueHandle<HANDLE, FindClose, NoHandle::invalid>;

std::string programFolder() {
    std::vector<char> path(32768);
    const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::string text(path.data(), length);
    return text.substr(0, text.find_last_of('\\'));
}

/// The program's folder, or the one above it with the languages in it.
std::array<std::string, 3> settingsFolders(const std::string& from) {
    return {from, from + "\\languages", from + "\\..\\languages"};
}

/// The codes of the languages for which there are files, "de, fr".
std::string languagesBeside(const std::string& from) {
    std::vector<std::string> codes;
    for (const std::string& folder : settingsFolders(from)) {
        WIN32_FIND_DATAA found{};
        const UniqueFind search(FindFirstFileA((folder + "\\Velmora.*.dat").c_str(), &found));
        if (!search) continue;
        do {
            const std::string name = found.cFileName;
            constexpr std::size_t kBefore = 8;  // "Velmora."
            constexpr std::size_t kAfter = 4;   // ".dat"
            if (name.size() > kBefore + kAfter) {
                codes.push_back(name.substr(kBefore, name.size() - kBefore - kAfter));
            }
        } while (FindNextFileA(search.get(), &found));
    }
    std::ranges::sort(codes);
    std::string text;
    for (const std::string& code : codes)
        text += (text.empty() ? "" : ", ") + toUtf8(code);
    return text;
}

/// The settings file to install, in the language that was asked for.
std::string settingsSource(const SetupOptions& options, const std::string& from,
                           const std::string& what) {
    const std::string file =
        options.language.empty() ? kSettings : "Velmora." + options.language + ".dat";
    for (std::string path : settingsFolders(from)) {
        path += '\\';
        path += file;
        if (fileExists(path)) return path;
    }
    const std::string languages = languagesBeside(from);
    throw CommandError(
        ExitCode::usage, what, "there is no " + quotedAnsi(file) + " in " + quotedPath(from),
        options.language.empty() || languages.empty() ? "name the folder of the files with --from"
                                                      : "the languages are " + languages);
}

/// Makes Windows forget what it has last read of a profile file.
void forgetProfile(const std::string& path) {
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, path.c_str());
}

/// Library and settings file: both, or neither of them.
class PlacedFiles {
  public:
    PlacedFiles(const Computer& computer, const SetupOptions& options, const std::string& from,
                const std::string& source)
        : computer_(computer), options_(options) {
        const std::string name = from + "\\" + kLibrary;
        const std::string installed = computer.file(kLibrary);
        library_ = std::make_unique<PlacedFile>(name, installed, [&](const std::string& copy) {
            checkLibrary(copy, name, installed,
                         options.allowDowngrade ? Downgrade::allowed : Downgrade::refused,
                         computer.machine());
        });
        library_->keepOld();
        const bool wanted = options.replaceSettings || !options.language.empty();
        if (fileExists(computer.file(kSettings)) && !wanted) return;
        settings_ = std::make_unique<PlacedFile>(source, computer.file(kSettings),
                                                 [&](const std::string& copy) { keepNames(copy); });
        settings_->keepOld();
    }

    void commit(FileChange& library, SettingsChange& settings) {
        try {
            if (settings_ != nullptr) settings = settings_->commit();
            library = library_->commit();
        } catch (...) {
            undo();
            throw;
        }
        forgetProfile(computer_.file(kSettings));
    }

    bool undo() {
        const bool library = library_->undo();
        const bool settings = settings_ == nullptr || settings_->undo();
        forgetProfile(computer_.file(kSettings));
        return library && settings;
    }

  private:
    /// Writes the names that the monitor is known by into the copy of the new settings: other texts
    /// must not make it look for its ports under other names.
    void keepNames(const std::string& copy) const {
        const ProfileFile settings(copy);
        // A file of another kind has no such section.
        std::array<char, 4> section{};
        if (GetPrivateProfileSectionA(kStrings, section.data(), section.size(), copy.c_str()) ==
            0) {
            throw CommandError(ExitCode::usage, "checking the new settings file",
                               "it has no section [Strings]",
                               "take the file from the download again");
        }
        for (const char* name : {"Port Monitor Name", "AppRegKey"}) {
            const std::string kept = computer_.settings().read(kStrings, name);
            if (kept.empty() || options_.replaceSettings || settings.read(kStrings, name) == kept)
                continue;
            settings.write(kStrings, name, kept);
            if (settings.read(kStrings, name) != kept) {
                throw systemError("writing " + quotedPath(copy), ERROR_WRITE_FAULT,
                                  "check that there is room");
            }
        }
        forgetProfile(copy);
    }

    const Computer& computer_;
    const SetupOptions& options_;
    std::unique_ptr<PlacedFile> library_;
    std::unique_ptr<PlacedFile> settings_;  ///< null: the settings are kept as they are
};

/// The steps in their order, each with its undoing.
class Installation {
  public:
    Installation(const Computer& computer, const SetupOptions& options, std::string what)
        : computer_(computer), options_(options), what_(std::move(what)) {}

    Installed run(const std::string& from) {
        const std::string source = settingsSource(options_, from, what_);
        try {
            placeFiles(from, source);
            // Before the monitor runs: nothing it stores may be readable by everybody even for a
            // moment.
            closeKey();
            placePolicy();
            addEventSource();
            makeDirectory();
            registerMonitor();
        } catch (const CommandError& error) {
            throw undo_.takeBack(error);
        }
        return result_;
    }

  private:
    void check(DWORD error, const std::string& step) const {
        if (error != 0) throw systemError(what_ + ", " + step, error, kAsAdministrator);
    }

    void placeFiles(const std::string& from, const std::string& source) {
        files_ = std::make_unique<PlacedFiles>(computer_, options_, from, source);
        files_->commit(result_.library, result_.settings);
        const bool anything = result_.library != FileChange::same ||
                              (result_.settings && *result_.settings != FileChange::same);
        if (anything) undo_.done("the files", [this] { return files_->undo(); });
        monitor_ = computer_.setting("Port Monitor Name");
    }

    void closeKey() {
        const std::string key = computer_.monitorKey();
        const HKEY root = computer_.registry();
        const bool there = hasKey(key, root);
        const DWORD error = restrictKey(key, root);
        // A key that existed stays closed, which does no harm.
        if (!there && hasKey(key, root))
            undo_.done("the registry key", [key, root] { return removeKey(key, root); });
        check(error, "the rights of the registry key");
        if (!computer_.isLocal() && !isRestricted(key, root))
            check(ERROR_REGISTRY_IO_FAILED, "the rights of the registry key");
    }

    /// An administrator's decisions are kept: only a computer without a policy gets one.
    void placePolicy() {
        PolicyKey policy(computer_.server());
        if (policy.exists()) {
            result_.policy = PolicyChange::kept;
            return;
        }
        if (options_.policy == kNoPolicy) {
            result_.policy = PolicyChange::leftOut;
            return;
        }
        // A policy with only some of its values would be taken for a complete one.
        undo_.done("the policy", [this] {
            try {
                PolicyKey(computer_.server()).remove();
                return true;
            } catch (const CommandError&) {
                return false;
            }
        });
        for (const PolicyValue& value : policyValues())
            policy.write(value, installedPolicy().*value.field);
        result_.policy = PolicyChange::written;
    }

    void addEventSource() {
        const HKEY root = computer_.registry();
        if (!hasEventSource(root))
            undo_.done("the source of events", [root] { return removeEventSource(root); });
        if (!registerEventSource(computer_.ownPath(kLibrary), root))
            check(ERROR_REGISTRY_IO_FAILED, "registering with the event log");
    }

    void makeDirectory() {
        const std::string folder = deliveryDirectory(computer_.systemFolder());
        const bool there = fileExists(folder);
        check(makeDeliveryDirectory(computer_.systemFolder()),
              "the directory of the record of deliveries");
        // Removes it only if it is empty.
        if (!there)
            undo_.done("the directory of the record of deliveries",
                       [folder] { return RemoveDirectoryA(folder.c_str()) != 0; });
    }

    void registerMonitor() {
        result_.registered = !monitorInstalled(computer_.server(), monitor_);
        if (!result_.registered) return;
        const DWORD error = addMonitor(computer_.server(), monitor_, kLibrary, computer_.machine());
        if (error == 0 || error == ERROR_PRINT_MONITOR_ALREADY_INSTALLED) return;
        const std::string step = what_ + ", registering with the spooler";
        if (computer_.isLocal()) throw spoolerError(step, error);
        // Some versions of Windows let nobody register a monitor from another computer.
        const CommandError reason = spoolerError(step, error);
        throw CommandError(reason.code(), step, reason.why(),
                           "run \"velmoractl install\" on that computer", reason.keyword());
    }

    const Computer& computer_;
    const SetupOptions& options_;
    const std::string what_;
    std::string monitor_;
    std::unique_ptr<PlacedFiles> files_;
    Installed result_{};
    Undo undo_;
};

}  // namespace

std::string defaultSource(const Computer& computer) {
    std::string own = programFolder();
    if (computer.machine() == ownMachine()) return own;
    const char* const other = computer.machine() == IMAGE_FILE_MACHINE_I386 ? "x86" : "x64";
    const std::string beside = own + "\\..\\" + other;
    return fileExists(beside + "\\" + kLibrary) ? beside : own;
}

Installed installOn(const Computer& computer, const SetupOptions& options, const std::string& from,
                    const std::string& what) {
    return Installation(computer, options, what).run(from);
}

bool oldLibraryInUse(const Computer& computer) {
    bool inUse = false;
    WIN32_FIND_DATAA found{};
    const UniqueFind search(FindFirstFileA((computer.file(kLibrary) + ".old*").c_str(), &found));
    if (!search) return false;
    do {
        const std::string old = computer.file(found.cFileName);
        if (!DeleteFileA(old.c_str()) && isInUse(GetLastError())) inUse = true;
    } while (FindNextFileA(search.get(), &found));
    return inUse;
}

}  // namespace velmora::ctl
