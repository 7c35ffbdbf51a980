#include "tools/orvane/completionCommand.h"

#include <array>

#include "tools/orvane/command.h"
#include "tools/orvane/completionService.h"
#include "tools/orvane/completionWords.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/profiles.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

struct Script {
    const char *shell;
    const char *text;
};

/* Candidates are quoted as words, and never evaluated. No space follows a word that may go on. */
constexpr auto kScripts = std::to_array<Script>({
    {"bash",
     R"script(# a word without its quotes, the quote that is still open at its end, and what precedes that quote
_orvane_unquote() {
    local i letter
    plain='' quote='' opened=''
    for ((i = 0; i < ${#1}; i++)); do
        letter=${1:i:1}
        case $quote$letter in
        \\ | \"\\)
            ((++i))
            letter=${1:i:1}
            [[ $quote && $letter != [\"\\\$\`] ]] && plain+=\\
            plain+=$letter
            ;;
        \' | \") quote=$letter opened=$plain ;;
        \'\' | \"\") quote='' ;;
        *) plain+=$letter ;;
        esac
    done
}
_orvane() {
    local word plain quote opened before i line=$COMP_LINE current=${COMP_WORDS[COMP_CWORD]}
    local -a words=()
    # bash splits words at "=" and ":", too, and completes the last part only
    for word in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
        if [[ $line == [[:space:]]* || ${#words[@]} -eq 0 ]]; then
            words+=("$word")
        else
            words[-1]+=$word
        fi
        line=${line#"${line%%[![:space:]]*}"}
        line=${line#"$word"}
    done
    [[ $current == [=:] ]] && current=
    _orvane_unquote "${words[-1]%"$current"}"
    before=$plain
    for ((i = 1; i < ${#words[@]}; i++)); do
        _orvane_unquote "${words[i]}"
        words[i]=$plain
    done
    [[ $quote ]] && before=$opened # what is behind an open quote is replaced
    COMPREPLY=()
    while IFS= read -r word; do
        word=${word#"$before"}
        case $quote in
        \')
            word=${word//\'/"'\\''"}
            ;;
        \")
            word=${word//\\/\\\\}
            word=${word//\"/'\"'}
            word=${word//\$/'\$'}
            word=${word//\`/'\`'}
            word=${word//!/"\"'!'\""} # has a meaning in the quotes of an interactive shell
            ;;
        *) [[ $word ]] && printf -v word %q "$word" ;;
        esac
        COMPREPLY+=("$word")
    done < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[/=] ]] && compopt -o nospace
    return 0
}
complete -o default -F _orvane orvane
)script"},
    {"fish", R"script(function __orvane_complete
    set -l words (commandline -opc)
    set -l current (commandline -to) # without its quotes
    set -l found (command $words[1] complete -- $words[2..-1] "$current" 2>/dev/null)
    if test (count $found) -gt 0
        printf '%s\n' $found
    else
        __fish_complete_path "$current"
    end
end
complete -c orvane -f -a '(__orvane_complete)'
)script"},
    {"zsh", R"script(#compdef orvane
_orvane() {
    local -a found further others
    found=("${(@f)$("$words[1]" complete -- "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)}")
    if [[ -z $found[1] ]]; then
        _files
        return
    fi
    further=("${(@M)found:#*[/=]}")
    others=("${(@)found:#*[/=]}")
    compadd -S '' -a further
    compadd -a others
}
if [[ $funcstack[1] == _orvane ]]; then
    _orvane "$@"
else
    compdef _orvane orvane
fi
)script"},
});

int RunComplete(const CLI::App &program, const std::vector<std::string> &words) {
    const Completion completion = FindCompletion(program, words);
    std::vector<std::string> candidates = completion.words;
    if (completion.kind == WordKind::kProfile) {
        for (const Profile &profile : Profiles().All()) {
            if (profile.name.starts_with(completion.start))
                candidates.push_back(profile.name);
        }
    } else if (completion.kind != WordKind::kFixed) {
        candidates = AskService(completion);
    }
    for (const std::string &candidate : candidates)
        WriteOutput(completion.before + candidate + "\n");
    return kDone;
}

int RunCompletion(const std::string &shell) {
    for (const Script &script : kScripts) {
        if (shell == script.shell)
            WriteOutput(script.text);
    }
    return kDone;
}

} // namespace

void AddCompletion(CLI::App &program, CompletionOptions &options, int &status) {
    std::vector<std::string> shells;
    for (const Script &script : kScripts)
        shells.emplace_back(script.shell);
    CLI::App *completion = program.add_subcommand(
        "completion",
        Text(MSGID("help.completion") "Print a script with which a shell completes words"));
    completion->add_option("shell", options.shell, Text(MSGID("help.completion.shell") "The shell"))
        ->required()
        ->check(CLI::IsMember(shells));
    completion->footer(FooterText(
        Text(MSGID("help.completion.footer") "Paths, jobs, tasks and the class of an object come "
                                             "from the service of --profile, --url or the "
                                             "environment, if it answers within 300 ms, and only "
                                             "with a password in $ORVANE_PASSWORD_FILE or "
                                             "$ORVANE_PASSWORD."),
        {"eval \"$(orvane completion bash)\"", "orvane completion zsh > ~/.zfunc/_orvane",
         "orvane completion fish > ~/.config/fish/completions/orvane.fish"}));
    completion->callback(
        [&] { status = RunCommand([&] { return RunCompletion(options.shell); }); });

    CLI::App *complete = program.add_subcommand("complete")->group("");
    complete->add_option("words", options.words);
    complete->callback(
        [&] { status = RunCommand([&] { return RunComplete(program, options.words); }); });
}

} // namespace orvaneCli
