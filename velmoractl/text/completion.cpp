#include "velmoractl/text/completion.h"

#include <algorithm>
#include <iterator>

namespace velmora::ctl {
namespace {

struct Row {
    const char* verb;  ///< a verb, a group of verbs, or "" for all
    const char* option;
    NameKind kind;
};

/// The first row that fits is used.
constexpr Row kRows[] = {
    {"port add", "name", NameKind::none},    {"port", "name", NameKind::port},
    {"port", "names", NameKind::port},       {"queue add", "name", NameKind::none},
    {"queue", "name", NameKind::queue},      {"group", "path", NameKind::group},
    {"group", "group", NameKind::group},     {"printer add", "path", NameKind::group},
    {"printer", "group", NameKind::group},   {"printer", "path", NameKind::printer},
    {"printer", "paths", NameKind::printer}, {"", "--port", NameKind::port},
    {"", "--group", NameKind::group},        {"", "--driver", NameKind::driver},
};

bool fits(const std::string& verb, const std::string& row) {
    return row.empty() || verb == row || verb.starts_with(row + " ");
}

}  // namespace

NameKind nameKindOf(const std::string& verb, const std::string& option) {
    const auto found = std::ranges::find_if(
        kRows, [&](const Row& row) { return fits(verb, row.verb) && option == row.option; });
    return found == std::end(kRows) ? NameKind::none : found->kind;
}

const char* powershellCompletion() {
    return R"script(# Completion for velmoractl. For every session, add this line to the file that $PROFILE names:
#   velmoractl completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName @('velmoractl', 'velmoractl.exe') -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)
    $words = @($commandAst.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursorPosition } |
        ForEach-Object { if ($null -ne $_.Value) { "$($_.Value)" } else { $_.Extent.Text } })
    $current = $wordToComplete -replace '^["'']', '' -replace '["'']$', ''
    & velmoractl complete-words -- @words "=$current" 2>$null | ForEach-Object {
        $text = $_
        if ($text -match '[\s''"(){};,|&$#@`]') { $text = "'" + $text.Replace("'", "''") + "'" }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
}
)script";
}

const char* bashCompletion() {
    return R"script(# Completion for velmoractl. For every session, add this line to ~/.bashrc:
#   source <(velmoractl completion bash)
_velmoractl() {
    local IFS=$'\n' cur=$2 word words=() line
    # What is typed may be quoted; the program is asked with what it means.
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [ "$word" = "=" ] && continue
        word=${word#[\"\']}; word=${word%[\"\']}
        words+=("${word//\\/}")
    done
    [ "$cur" = "=" ] && cur=
    cur=${cur#[\"\']}
    COMPREPLY=()
    while read -r line; do
        line=${line%$'\r'}
        case ${COMP_WORDS[COMP_CWORD]} in
            \"* | \'*) COMPREPLY+=("$line") ;;
            *) COMPREPLY+=("$(printf %q "$line")") ;;
        esac
    done < <("${COMP_WORDS[0]}" complete-words -- "${words[@]}" "=${cur//\\/}" 2>/dev/null)
}
complete -F _velmoractl velmoractl velmoractl.exe
)script";
}

}  // namespace velmora::ctl
