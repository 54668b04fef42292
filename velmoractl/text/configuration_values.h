#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "velmoractl/text/configuration_file.h"

namespace velmora {
struct JobTemplate;
}

namespace velmora::ctl {

// Code that the versions of configuration files share.

/// Of one object. A list may be longer; an object's keys are compared with each other.
inline constexpr std::size_t kMostKeys = 5'000;

/// JSON text, in UTF-8 or in UTF-16 with a byte order mark. Throws FileError, also for a key that
/// stands twice in one object (the first would be lost without a word), and for objects that are
/// deeper or larger than any that describes something.
Json parseFile(const std::string& text, std::size_t mostKeys = kMostKeys);

/// Without the byte order mark, and in UTF-8.
std::string withoutMark(const std::string& text);

/// Windows does not distinguish names that differ only in case.
std::string folded(std::string name);

/// One object of the file, with its place for messages. Unknown keys are errors: a misspelled one
/// would silently leave a default in fifty ports.
class ObjectReader {
  public:
    ObjectReader(const Json& json, std::string place, const TextCodec& codec);

    [[noreturn]] void fail(const std::string& why) const;

    void allow(std::initializer_list<const char*> keys) const;
    bool has(const char* key) const { return json_.contains(key); }
    const Json& at(const char* key) const;

    std::string text(const char* key) const { return stored(at(key), key); }
    std::string text(const char* key, const char* fallback) const;
    bool flag(const char* key, bool fallback) const;
    std::uint32_t number(const char* key) const { return number(at(key), key); }
    std::uint32_t number(const Json& value, const char* key) const;
    const Json& list(const char* key) const;
    ObjectReader child(const char* key) const { return {at(key), place_ + ", " + key, codec_}; }
    ObjectReader item(const Json& json, const std::string& what, std::size_t index) const {
        return {json, what + " " + std::to_string(index + 1), codec_};
    }

    /// A text as it will be stored: in the code page, without a NUL, which would end it.
    std::string stored(const Json& value, const std::string& key) const;
    /// The same for a key of the object, which is a name then.
    std::string storedName(const std::string& utf8) const;
    /// Stored text for a message.
    std::string quoted(const std::string& ansi) const;

    const Json& json() const { return json_; }
    const std::string& place() const { return place_; }
    const TextCodec& codec() const { return codec_; }

  private:
    const Json& json_;
    std::string place_;
    const TextCodec& codec_;
};

struct FileCredentials {
    bool authentication;
    std::string user, password;
    bool passwordMissing;
};

FileCredentials readCredentials(const ObjectReader& reader);

/// The object's "url"; one with a user name in it is refused, since its password would be shown in
/// places where none is expected.
std::string readUrl(const ObjectReader& reader, const char* fallback);

/// Sets the attributes that the object has, and warns of values that only some printers know.
void readTemplate(const ObjectReader& reader, JobTemplate& job, std::vector<std::string>& warnings);

}  // namespace velmora::ctl
