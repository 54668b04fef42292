#pragma once

#include <string>

namespace velmora {

/// A profile (INI) file, read and written by the platform's own profile functions.
class ProfileFile {
  public:
    explicit ProfileFile(std::string path) : path_(std::move(path)) {}

    const std::string& path() const noexcept { return path_; }

    /// The value of `key` in `section` through a 1024-byte area (at most 1023 bytes are returned);
    /// empty when it is absent, empty or unreadable. `unreadable`, if given, receives whether the
    /// file could not be read just now. GetPrivateProfileStringA.
    std::string read(const std::string& section, const std::string& key,
                     bool* unreadable = nullptr) const;

    /// Sets `key` in `section`; a file that cannot be written is left as it is, without a report.
    /// WritePrivateProfileStringA.
    void write(const std::string& section, const std::string& key, const std::string& value) const;

  private:
    std::string path_;
};

/// The text to show for `text`: the value that `section` holds under the text's key (textKey), or
/// `text` itself. A missing text is written into the file with itself as the value, so that the
/// file gets everything that a translator can change; unless the file cannot be read, since it may
/// hold another value then. An empty key gives an empty text and touches nothing.
std::string lookupText(const ProfileFile& file, const std::string& section,
                       const std::string& text);

/// The same for a text whose key is given; `key` has neither "&" nor anything to escape.
std::string lookupText(const ProfileFile& file, const std::string& section, const std::string& key,
                       const std::string& text);

/// GetSystemDirectoryA, without a trailing backslash.
std::string systemDirectory();

}  // namespace velmora
