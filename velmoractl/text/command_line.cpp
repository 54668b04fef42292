#include "velmoractl/text/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <numeric>
#include <sstream>
#include <utility>

#include "velmoractl/command_error.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

constexpr int kMostWords = 1024;
constexpr char kProgram[] = "velmoractl";

std::string exampleText(const std::string& example) {
    return std::string("Example:\n  ") + kProgram + " " + example;
}

/// The number of letters that must be changed, added or left out (Levenshtein distance).
std::size_t distance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

/// The verbs that a wrong one may stand for, for the second half of the message.
std::string suggestion(const CLI::App& app, const std::string& word) {
    constexpr std::size_t kFarthest = 3;
    std::string best;
    std::string all;
    std::size_t nearest = kFarthest;
    for (const CLI::App* verb : app.get_subcommands({})) {
        if (verb->get_group().empty()) continue;
        const std::string& name = verb->get_name();
        all += (all.empty() ? "" : ", ") + name;
        const std::size_t steps = name.starts_with(word) ? 1 : distance(name, word);
        if (steps >= nearest) continue;
        nearest = steps;
        best = name;
    }
    return best.empty() ? "the verbs are " + all : "did you mean \"" + best + "\"?";
}

// CLI11 reads "[A,B]" as a list wherever there may be several words; so that it is one name, parse
// puts a character in front of it that no command line holds.
constexpr char kMark = '\x01';

void markBrackets(std::vector<std::string>& words) {
    for (std::string& word : words) {
        if (word.starts_with('[') && word.ends_with(']')) word.insert(word.begin(), kMark);
    }
}

std::string unmarked(std::string word) {
    if (word.starts_with(kMark)) word.erase(0, 1);
    return word;
}

/// The option of that name, of the verb or of the whole program; null if there is none.
const CLI::Option* optionOf(const CLI::App& app, const CLI::App& program, const std::string& word) {
    const CLI::Option* const own = app.get_option_no_throw(word);
    return own != nullptr ? own : program.get_option_no_throw(word);
}

bool takesValue(const CLI::Option& option) {
    return option.get_expected_min() > 0;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option :
         app.get_options([](const CLI::Option* one) { return !one->get_group().empty(); })) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

/// The values of an option that takes one of a few, as its type lists them; else none.
std::vector<std::string> valuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    std::vector<std::string> values;
    if (type.find('|') == std::string::npos) return values;
    for (std::size_t begin = 0; begin <= type.size();) {
        const std::size_t end = std::min(type.find('|', begin), type.size());
        values.push_back(type.substr(begin, end - begin));
        begin = end + 1;
    }
    return values;
}

const CLI::App* visibleVerb(const CLI::App& app, const std::string& name) {
    for (const CLI::App* verb : app.get_subcommands({}))
        if (verb->get_name() == name && !verb->get_group().empty()) return verb;
    return nullptr;
}

}  // namespace

bool Option::given() const {
    return option_ != nullptr && option_->count() > 0;
}

Option& Option::required() {
    option_->required();
    return *this;
}

Option& Option::excludes(const Option& other) {
    option_->excludes(other.option_);
    return *this;
}

Option& Option::under(const std::string& heading) {
    option_->group(heading);
    return *this;
}

Option& Option::hidden() {
    option_->group("");
    return *this;
}

Option Verb::text(const std::string& name, std::string& value, const std::string& about,
                  const std::string& type) {
    return Option(app_->add_option(name, value, about)->type_name(type)->transform(unmarked));
}

Option Verb::texts(const std::string& name, std::vector<std::string>& values,
                   const std::string& about, const std::string& type) {
    return Option(app_->add_option(name, values, about)
                      ->type_name(type)
                      ->expected(1)
                      ->allow_extra_args(false)
                      ->transform(unmarked)
                      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

Option Verb::words(const std::string& name, std::vector<std::string>& values,
                   const std::string& about, const std::string& type) {
    return Option(app_->add_option(name, values, about)
                      ->type_name(type)
                      ->expected(1, kMostWords)
                      ->transform(unmarked));
}

Option Verb::oneOf(const std::string& name, std::string& value, const std::string& about,
                   const std::vector<std::string>& allowed) {
    std::string type;
    for (const std::string& word : allowed)
        type += (type.empty() ? "" : "|") + word;
    // The type lists the values already.
    return Option(app_->add_option(name, value, about)
                      ->check(CLI::IsMember(allowed).description(""))
                      ->type_name(type));
}

Option Verb::seconds(const std::string& name, unsigned& value, unsigned lowest, unsigned highest,
                     const std::string& about) {
    return number(name, value, lowest, highest, about, "SECONDS");
}

Option Verb::number(const std::string& name, unsigned& value, unsigned lowest, unsigned highest,
                    const std::string& about, const std::string& type) {
    std::string range = " (" + std::to_string(lowest) + " to " + std::to_string(highest);
    // A value that must be given begins outside.
    if (value >= lowest) range += ", default: " + std::to_string(value);
    return Option(app_->add_option(name, value, about + range + ")")
                      ->check(CLI::Range(lowest, highest).description(""))
                      ->type_name(type));
}

Option Verb::flag(const std::string& name, bool& value, const std::string& about) {
    return Option(app_->add_flag(name, value, about));
}

Option Verb::optional(const std::string& name, std::string& value, const std::string& fallback,
                      const std::string& about) {
    return Option(app_->add_flag(name + "{" + fallback + "}", value, about));
}

Verb Verb::group(const std::string& name, const std::string& about, const std::string& example,
                 std::function<void()> alone) {
    CLI::App* const group = app_->add_subcommand(name, about);
    group->require_subcommand(alone ? 0 : 1, 1);
    group->footer(exampleText(example));
    if (alone) {
        // Called after a verb of the group, too.
        group->callback([group, alone = std::move(alone)] {
            if (group->get_subcommands().empty()) alone();
        });
    }
    return {group, common_};
}

Verb Verb::verb(const std::string& name, const std::string& about, const std::string& example,
                std::function<void()> chosen) {
    CLI::App* const verb = app_->add_subcommand(name, about);
    verb->footer(*common_ + exampleText(example));
    verb->callback(std::move(chosen));
    return {verb, common_};
}

void Verb::hide() {
    app_->group("");
}

Completion Verb::completion(const std::vector<std::string>& words,
                            const std::string& current) const {
    const CLI::App* app = app_;
    const CLI::Option* option = nullptr;  // whose value comes next
    std::size_t positionals = 0;
    Completion result;
    for (const std::string& word : words) {
        if (option != nullptr) {
            option = nullptr;
        } else if (word.starts_with('-')) {
            option = optionOf(*app, *app_, word);
            if (option != nullptr && !takesValue(*option)) option = nullptr;
        } else if (const CLI::App* const verb = visibleVerb(*app, word)) {
            app = verb;
            result.verb += (result.verb.empty() ? "" : " ") + word;
        } else {
            ++positionals;
        }
    }
    if (option == nullptr && current.starts_with('-')) {
        result.words = optionNames(*app);
        if (app != app_) std::ranges::copy(optionNames(*app_), std::back_inserter(result.words));
        return result;
    }
    if (option == nullptr && !app->get_subcommands({}).empty()) {
        for (const CLI::App* verb : app->get_subcommands({}))
            if (!verb->get_group().empty()) result.words.push_back(verb->get_name());
        return result;
    }
    if (option == nullptr) {
        const auto all =
            app->get_options([](const CLI::Option* one) { return one->get_positional(); });
        if (all.empty()) return result;
        // The last one may be repeated.
        const std::size_t at = std::min(positionals, all.size() - 1);
        if (at < positionals && all[at]->get_expected_max() <= 1) return result;
        option = all[at];
    }
    result.words = valuesOf(*option);
    result.option = option->get_positional() ? option->get_name(true) : option->get_name();
    return result;
}

CommandLine::CommandLine(const std::string& about, const std::string& footer,
                         const std::string& common, std::function<std::string()> version)
    : common_(common), app_(std::make_unique<CLI::App>(about, kProgram)) {
    // "/ipp/print" is a value, not an option. Verbs take this over.
    app_->allow_windows_style_options(false);
    app_->footer(footer);
    app_->require_subcommand(1);
    app_->fallthrough();
    app_->set_version_flag("--version", std::move(version), "this program's version");
}

CommandLine::~CommandLine() = default;

Verb CommandLine::program() {
    return {app_.get(), &common_};
}

/// CLI11 takes a wrong verb for a surplus word and does not say which verbs there are.
void CommandLine::checkVerbs(const std::vector<std::string>& words) const {
    const CLI::App* app = app_.get();
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (app->get_subcommands({}).empty()) return;
        const std::string& word = words[i];
        if (word.starts_with('-')) {
            // An option of the group or the program; what follows it is its value.
            const CLI::Option* option = app->get_option_no_throw(word);
            if (option == nullptr) option = app_->get_option_no_throw(word);
            if (option != nullptr && option->get_expected_min() > 0) ++i;
            continue;
        }
        const auto verbs = app->get_subcommands({});
        const auto found = std::ranges::find_if(
            verbs, [&](const CLI::App* verb) { return verb->get_name() == word; });
        if (found == verbs.end()) {
            const std::string group = app == app_.get() ? "" : app->get_name() + " ";
            throw CommandError(ExitCode::usage, "the command line",
                               "there is no verb " + quotedAnsi(group + word),
                               suggestion(*app, word), "unknown-verb");
        }
        app = *found;
    }
}

std::optional<std::string> CommandLine::parse(std::vector<std::string> words) {
    checkVerbs(words);
    markBrackets(words);
    std::ranges::reverse(words);  // CLI11 reads them from the end
    try {
        app_->parse(std::move(words));
        return std::nullopt;
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        app_->exit(help, text, text);
        return text.str();
    } catch (const CLI::ParseError& error) {
        throw CommandError(ExitCode::usage, "the command line", shown(toUtf8(error.what())),
                           "see velmoractl --help, or --help after the verb");
    }
}

std::string CommandLine::chosen() const {
    std::string words;
    const CLI::App* app = app_.get();
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
        words += (words.empty() ? "" : " ") + app->get_name();
    }
    return words;
}

}  // namespace velmora::ctl
