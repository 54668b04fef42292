#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace velmora::ctl {

// The arguments of the program. Hides CLI11, whose header takes longer to compile than everything
// else: only command_line.cpp includes it. Texts are in the ANSI code page.

/// An option or positional argument of a verb. A handle: copies refer to the same option.
class Option {
  public:
    Option() = default;
    explicit Option(CLI::Option* option) : option_(option) {}

    /// Whether the command line has it. False for an empty handle.
    bool given() const;
    Option& required();
    Option& excludes(const Option& other);
    /// Puts it under its own heading in the help text.
    Option& under(const std::string& heading);
    /// Leaves it out of the help text.
    Option& hidden();

  private:
    CLI::Option* option_ = nullptr;
};

/// What may come next on a command line.
struct Completion {
    std::vector<std::string> words;  ///< verbs, options, or values of an option
    // Else a name of something: the verb ("port set") and the option ("--port") or positional
    // argument ("name") that it is for; empty if none.
    std::string verb;
    std::string option;
};

/// A verb, a group of verbs, or the whole program. A handle as well. The values that options are
/// written to must outlive CommandLine::parse.
class Verb {
  public:
    Verb(CLI::App* app, const std::string* common) : app_(app), common_(common) {}

    /// A name without dashes is a positional argument. `type` stands for the value in the help
    /// text.
    Option text(const std::string& name, std::string& value, const std::string& about,
                const std::string& type);
    /// An option that may be repeated.
    Option texts(const std::string& name, std::vector<std::string>& values,
                 const std::string& about, const std::string& type);
    /// A positional argument that may be repeated.
    Option words(const std::string& name, std::vector<std::string>& values,
                 const std::string& about, const std::string& type);
    Option oneOf(const std::string& name, std::string& value, const std::string& about,
                 const std::vector<std::string>& allowed);
    Option seconds(const std::string& name, unsigned& value, unsigned lowest, unsigned highest,
                   const std::string& about);
    Option number(const std::string& name, unsigned& value, unsigned lowest, unsigned highest,
                  const std::string& about, const std::string& type);
    Option flag(const std::string& name, bool& value, const std::string& about);
    /// An option whose value may be left out; `value` is `fallback` then.
    Option optional(const std::string& name, std::string& value, const std::string& fallback,
                    const std::string& about);

    /// A group of verbs, of which one must be named; or `alone` is called when none is.
    Verb group(const std::string& name, const std::string& about, const std::string& example,
               std::function<void()> alone = {});
    /// `chosen` is called when the command line names this verb.
    Verb verb(const std::string& name, const std::string& about, const std::string& example,
              std::function<void()> chosen);

    /// Leaves it out of help texts and suggestions.
    void hide();
    /// What may follow these arguments of a command line that begins here; `current` is the
    /// beginning of the next one.
    Completion completion(const std::vector<std::string>& words, const std::string& current) const;

  private:
    CLI::App* app_;
    const std::string* common_;
};

class CommandLine {
  public:
    /// `common`: the options of all verbs, as each verb's help lists them.
    CommandLine(const std::string& about, const std::string& footer, const std::string& common,
                std::function<std::string()> version);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Verb program();
    /// Reads the words after the program's name. Returns the text if help or the version was asked
    /// for. Throws CommandError.
    std::optional<std::string> parse(std::vector<std::string> words);
    /// After parse(): the verb that was named, such as "port add".
    std::string chosen() const;

  private:
    void checkVerbs(const std::vector<std::string>& words) const;

    const std::string common_;
    std::unique_ptr<CLI::App> app_;
};

}  // namespace velmora::ctl
