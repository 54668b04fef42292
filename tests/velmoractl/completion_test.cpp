#include "velmoractl/text/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::ctl {
namespace {

using ::testing::HasSubstr;
using ::testing::IsSubsetOf;

/// Reads PowerShell as its language specification has it (2.3): comments, both kinds of strings and
/// the contents of brackets. `problem` is empty if everything that was opened has been closed.
struct PowerShellText {
    std::string problem;
    std::set<std::string> variables;
    std::set<std::string> assigned;

    explicit PowerShellText(std::string_view script) : text_(script) {
        read({});
        if (problem.empty() && at_ != text_.size()) problem = "closed too early";
    }

  private:
    char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }

    /// To the bracket that closes this part; to the end if there is none.
    void read(std::string_view closing) {
        while (problem.empty() && at_ < text_.size()) {
            const char c = text_[at_++];
            if (!closing.empty() && c == closing.front()) return;
            if (c == '#') {
                while (next() != '\0' && next() != '\n')
                    ++at_;
            } else if (c == '\'' || c == '"') {
                readString(c);
            } else if (c == '`') {
                ++at_;
            } else if (c == '$') {
                readVariable();
            } else {
                readBracket(c);
            }
        }
        if (problem.empty() && !closing.empty()) problem = "not closed: " + std::string(closing);
    }

    void readBracket(char c) {
        if (c == '(') return read(")");
        if (c == '{') return read("}");
        if (c == '[') return read("]");
        if (c == ')' || c == '}' || c == ']') problem = std::string("not opened: ") + c;
    }

    void readString(char quote) {
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == quote && next() != quote) return;
            if (c == quote || (quote == '"' && c == '`')) {
                ++at_;
            } else if (quote == '"' && c == '$') {
                readVariable();
                if (!problem.empty()) return;
            }
        }
        problem = "a string does not end";
    }

    /// After "$": a name, or an expression in brackets.
    void readVariable() {
        if (next() == '(') {
            ++at_;
            return read(")");
        }
        const std::size_t begin = at_;
        while (std::isalnum(static_cast<unsigned char>(next())) != 0 || next() == '_')
            ++at_;
        const std::string name(text_.substr(begin, at_ - begin));
        if (name.empty()) {
            problem = "a variable without a name";
            return;
        }
        variables.insert(name);
        if (text_.substr(at_).starts_with(" = ")) assigned.insert(name);
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

// There is no PowerShell where the script is tested: what can be checked without it.
TEST(Completion, ThePowerShellScriptIsWhole) {
    const std::string script = powershellCompletion();
    for (const char c : script)
        ASSERT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << "not ASCII, or a control character";
    const PowerShellText read(script);
    EXPECT_EQ(read.problem, "");
    EXPECT_EQ(read.assigned, (std::set<std::string>{"words", "current", "text"}));
    // Its own, the parameters of such a block, and PowerShell's.
    std::set<std::string> known = read.assigned;
    known.insert({"wordToComplete", "commandAst", "cursorPosition", "_", "null"});
    EXPECT_THAT(read.variables, IsSubsetOf(known));
    EXPECT_THAT(script, HasSubstr("Register-ArgumentCompleter -Native -CommandName @('velmoractl', "
                                  "'velmoractl.exe') -ScriptBlock {\n"
                                  "    param($wordToComplete, $commandAst, $cursorPosition)\n"));
    // The hidden verb and its arguments, which the bash script has as well.
    EXPECT_THAT(script, HasSubstr("& velmoractl complete-words -- @words \"=$current\" 2>$null |"));
    EXPECT_THAT(std::string(bashCompletion()), HasSubstr("complete-words -- "));
}

TEST(Completion, ATornPowerShellScriptIsNoticed) {
    const std::string script = powershellCompletion();
    for (const char c : std::string("(){}[]'\"")) {
        // Each of those outside of comments, strings and patterns is needed.
        const std::size_t at = c == '\'' ? script.find("'velmoractl'") : script.rfind(c);
        ASSERT_NE(at, std::string::npos) << c;
        std::string torn = script;
        torn.erase(at, 1);
        const PowerShellText read(torn);
        EXPECT_NE(read.problem, "") << c;
    }
}

TEST(Completion, NamesDependOnTheVerb) {
    EXPECT_EQ(nameKindOf("port set", "name"), NameKind::port);
    EXPECT_EQ(nameKindOf("port add", "name"), NameKind::none);
    EXPECT_EQ(nameKindOf("queue set", "name"), NameKind::queue);
    EXPECT_EQ(nameKindOf("queue add", "--port"), NameKind::port);
    EXPECT_EQ(nameKindOf("group remove", "path"), NameKind::group);
    EXPECT_EQ(nameKindOf("printer set", "path"), NameKind::printer);
    EXPECT_EQ(nameKindOf("printer add", "path"), NameKind::group);
    EXPECT_EQ(nameKindOf("probe", "--group"), NameKind::group);
    EXPECT_EQ(nameKindOf("portable", "name"), NameKind::none);
}

}  // namespace
}  // namespace velmora::ctl
