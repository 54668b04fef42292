#include "velmoractl/text/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "velmoractl/command_error.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/shown_text.h"

namespace velmora::ctl {
namespace {

constexpr char kProgram[] = "velmoractl";

std::string exampleText(const std::string& example) {
    return std::string("Example:\n  ") + kProgram + " " + example;
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

Option Verb::text(const std::string& name, std::string& value, const std::string& about,
                  const std::string& type) {
    return Option(app_->add_option(name, value, about)->type_name(type));
}

Option Verb::texts(const std::string& name, std::vector<std::string>& values,
                   const std::string& about, const std::string& type) {
    // Without extra arguments "[A,B]" is one name and no list.
    return Option(app_->add_option(name, values, about)
                      ->type_name(type)
                      ->expected(1)
                      ->allow_extra_args(false)
                      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

Option Verb::oneOf(const std::string& name, std::string& value, const std::string& about,
                   const std::vector<std::string>& allowed) {
    std::string type;
    for (const std::string& word : allowed)
        type += (type.empty() ? "" : "|") + word;
    return Option(
        app_->add_option(name, value, about)->check(CLI::IsMember(allowed))->type_name(type));
}

Option Verb::seconds(const std::string& name, unsigned& value, unsigned lowest, unsigned highest,
                     const std::string& about) {
    return Option(app_->add_option(name, value, about)
                      ->check(CLI::Range(lowest, highest))
                      ->type_name("SECONDS"));
}

Option Verb::flag(const std::string& name, bool& value, const std::string& about) {
    return Option(app_->add_flag(name, value, about));
}

Verb Verb::group(const std::string& name, const std::string& about, const std::string& example) {
    CLI::App* const group = app_->add_subcommand(name, about);
    group->require_subcommand(1);
    group->footer(exampleText(example));
    return Verb(group);
}

Verb Verb::verb(const std::string& name, const std::string& about, const std::string& example,
                std::function<void()> chosen) {
    CLI::App* const verb = app_->add_subcommand(name, about);
    verb->footer(exampleText(example));
    verb->callback(std::move(chosen));
    return Verb(verb);
}

CommandLine::CommandLine(const std::string& about, const std::string& footer,
                         std::function<std::string()> version)
    : app_(std::make_unique<CLI::App>(about, kProgram)) {
    app_->footer(footer);
    app_->require_subcommand(1);
    app_->fallthrough();
    app_->set_version_flag("--version", std::move(version), "this program's version");
}

CommandLine::~CommandLine() = default;

Verb CommandLine::program() {
    return Verb(app_.get());
}

std::optional<std::string> CommandLine::parse(std::vector<std::string> words) {
    std::ranges::reverse(words);  // CLI11 takes them from the end
    try {
        app_->parse(std::move(words));
        return std::nullopt;
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        app_->exit(help, text, text);
        return text.str();
    } catch (const CLI::ParseError& error) {
        throw CommandError(ExitCode::usage, "the command line", shown(toUtf8(error.what())),
                           "see velmoractl --help, or --help behind the verb");
    }
}

}  // namespace velmora::ctl
