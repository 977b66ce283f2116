// Completion scripts, from the description of the command line.
#include "Description.h"

#include <fmt/format.h>

#include <algorithm>

namespace cli {

namespace {

// A word within single quotes of bash and zsh.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::vector<std::string> NamesOf(const std::vector<OptionFacts>& options, bool withValueOnly) {
    std::vector<std::string> names;
    for (const OptionFacts& option : options)
        if (!withValueOnly || !option.Value.empty())
            std::ranges::copy(option.Names, std::back_inserter(names));
    return names;
}

// Each option with a value, of any command, once.
std::vector<std::string> NamesWithValue(const CommandFacts& program) {
    std::vector<std::string> names;
    for (const CommandFacts* command : WholeTree(program))
        std::ranges::copy(NamesOf(command->Options, true), std::back_inserter(names));
    std::ranges::sort(names);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

// Options of all commands, "--help" aside, which each has by itself, and "--version", which none has.
std::vector<OptionFacts> CommonOptionsOf(const CommandFacts& program) {
    std::vector<OptionFacts> common;
    std::ranges::copy_if(program.Options, std::back_inserter(common), [](const OptionFacts& option) {
        return option.Names.back() != "--help" && option.Names.back() != "--version";
    });
    return common;
}

std::vector<OptionFacts> AllOptionsOf(const CommandFacts& program, const CommandFacts& command) {
    std::vector<OptionFacts> options = command.Options;
    if (!command.Path.empty())
        std::ranges::copy(CommonOptionsOf(program), std::back_inserter(options));
    return options;
}

// --- bash ---

constexpr const char* BASH_START = R"(# Completion of hoistline for bash.
_hoistline() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= place=0 i
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "$command/${COMP_WORDS[i]}" in
)";

constexpr const char* BASH_END = R"(        esac
    fi
    [[ $words == FILES ]] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    if [[ $words == FILES ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -F _hoistline hoistline
)";

std::string BashWords(const OptionFacts& facts) {
    return facts.IsFile ? "FILES" : fmt::format("{}", fmt::join(facts.Words, " "));
}

// The command that the words before the current one name, and how many arguments it has been given.
std::string BashWalk(const CommandFacts& program) {
    std::string text;
    for (const CommandFacts* command : WholeTree(program))
        for (const CommandFacts& below : command->Commands)
            text += fmt::format("        {}) command={} place=0 ;;\n", Quoted(command->Path + "/" + below.Name()),
                                Quoted(below.Path));
    text += fmt::format("        */{})\n            ((i++))\n            [[ ${{COMP_WORDS[i]}} == = ]] && ((i++)) ;;\n",
                        fmt::join(NamesWithValue(program), " | */"));
    return text + "        */-* | */=) ;;\n        *) ((place++)) ;;\n        esac\n    done\n    local words=\n";
}

std::string BashValues(const CommandFacts& program) {
    std::string text = "    case \"$command/$previous\" in\n";
    for (const CommandFacts* command : WholeTree(program))
        for (const OptionFacts& option : command->Options) {
            if (option.Value.empty())
                continue;
            std::vector<std::string> patterns;
            for (const std::string& name : option.Names)
                patterns.push_back(command->Path.empty() ? "*/" + name : Quoted(command->Path + "/" + name));
            text += fmt::format("    {}) words={} ;;\n", fmt::join(patterns, " | "), Quoted(BashWords(option)));
        }
    return text + "    *) previous= ;;\n    esac\n";
}

std::string BashCompletion(const CommandFacts& program) {
    std::string text = BASH_START + BashWalk(program) + BashValues(program);
    text += "    if [[ -z $previous && $current == -* ]]; then\n        case $command in\n";
    for (const CommandFacts* command : WholeTree(program))
        text += fmt::format("        {}) words={} ;;\n", Quoted(command->Path),
                            Quoted(fmt::format("{}", fmt::join(NamesOf(AllOptionsOf(program, *command), false), " "))));
    text += "        esac\n    elif [[ -z $previous ]]; then\n        case \"$command/$place\" in\n";
    for (const CommandFacts* command : WholeTree(program)) {
        std::vector<std::string> names;
        std::ranges::transform(command->Commands, std::back_inserter(names), &CommandFacts::Name);
        if (!names.empty())
            text += fmt::format("        {}) words={} ;;\n", Quoted(command->Path + "/0"),
                                Quoted(fmt::format("{}", fmt::join(names, " "))));
        for (std::size_t place = 0; place < command->Arguments.size(); ++place)
            if (const std::string words = BashWords(command->Arguments[place]); !words.empty())
                text += fmt::format("        {}) words={} ;;\n", Quoted(fmt::format("{}/{}", command->Path, place)),
                                    Quoted(words));
    }
    return text + BASH_END;
}

// --- zsh ---

// Text in an entry of zsh's _arguments.
std::string ZshText(const std::string& text) {
    std::string escaped;
    for (const char c : text)
        escaped += std::string(c == '[' || c == ']' || c == ':' || c == '\\' ? "\\" : "") + c;
    return escaped;
}

std::string ZshAction(const OptionFacts& facts) {
    if (facts.IsFile)
        return "_files";
    return facts.Words.empty() ? " " : fmt::format("({})", fmt::join(facts.Words, " "));
}

std::string ZshOption(const OptionFacts& option) {
    std::string text = option.Names.size() > 1
                           ? fmt::format("'({})'{{{}}}", fmt::join(option.Names, " "), fmt::join(option.Names, ","))
                           : option.Names.front();
    std::string rest = "[" + ZshText(option.Description) + "]";
    if (!option.Value.empty())
        rest += ":" + ZshText(option.Words.empty() ? option.Value : "word") + ":" + ZshAction(option);
    return text + Quoted(rest);
}

std::string ZshFunction(const std::string& path) {
    std::string name = "_hoistline" + (path.empty() ? "" : "_" + path);
    std::ranges::replace(name, ' ', '_');
    std::ranges::replace(name, '-', '_');
    return name;
}

std::string ZshArguments(const CommandFacts& command) {
    if (!command.Commands.empty())
        return "        '1: :->command' '*:: :->rest'\n";
    std::string text;
    for (const OptionFacts& argument : command.Arguments)
        text += "        " +
                Quoted(fmt::format("{}{}{}:{}", argument.IsRepeated ? "*" : "", argument.IsRequired ? ":" : "::",
                                   ZshText(argument.Names.front()), ZshAction(argument))) +
                "\n";
    return text;
}

std::string ZshChoice(const CommandFacts& command) {
    std::string text = "    case $state in\n    command)\n        commands=(\n";
    for (const CommandFacts& below : command.Commands)
        text += "            " + Quoted(below.Name() + ":" + ZshText(below.Summary)) + "\n";
    text += "        )\n        _describe command commands ;;\n    rest)\n        case $words[1] in\n";
    for (const CommandFacts& below : command.Commands)
        text += fmt::format("        {}) {} ;;\n", below.Name(), ZshFunction(below.Path));
    return text + "        esac ;;\n    esac\n";
}

std::string ZshCompletion(const CommandFacts& program) {
    std::string text = "#compdef hoistline\n# Completion of hoistline for zsh.\n";
    for (const CommandFacts* command : WholeTree(program)) {
        text += fmt::format("\n{}() {{\n    local context state state_descr line\n    local -a commands\n"
                            "    typeset -A opt_args\n    _arguments -C \\\n",
                            ZshFunction(command->Path));
        std::string arguments;
        for (const OptionFacts& option : AllOptionsOf(program, *command))
            arguments += "        " + ZshOption(option) + "\n";
        arguments += ZshArguments(*command);
        for (const char c : arguments.substr(0, arguments.size() - 1))
            text += c == '\n' ? std::string(" \\\n") : std::string(1, c);
        text += "\n" + (command->Commands.empty() ? std::string() : ZshChoice(*command)) + "}\n";
    }
    return text + "\nif [[ $funcstack[1] == _hoistline ]]; then\n    _hoistline \"$@\"\nelse\n"
                  "    compdef _hoistline hoistline\nfi\n";
}

// --- fish ---

constexpr const char* FISH_START = R"(# Completion of hoistline for fish.
# Whether the words before the cursor name this command, with that many arguments when a number is given.
function __hoistline_at
    set -l command ''
    set -l place 0
    set -l skip 0
    for word in (commandline -opc)[2..-1]
        if test $skip = 1
            set skip 0
            continue
        end
        switch "$command/$word"
)";

constexpr const char* FISH_WALKED = R"(            case '*/-*'
            case '*'
                set place (math $place + 1)
        end
    end
    test "$command" = "$argv[1]"; and test (count $argv) = 1 -o "$place" = "$argv[2]"
end

complete -c hoistline -f
)";

std::string FishQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += std::string(c == '\'' || c == '\\' ? "\\" : "") + c;
    return quoted + "'";
}

std::string FishValues(const OptionFacts& facts) {
    if (facts.IsFile)
        return " -F";
    return facts.Words.empty() ? "" : " -a " + FishQuoted(fmt::format("{}", fmt::join(facts.Words, " ")));
}

std::string FishOption(const std::string& condition, const OptionFacts& option) {
    std::string text = "complete -c hoistline" + condition;
    for (const std::string& name : option.Names)
        text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.Value.empty())
        text += (option.IsFile ? " -r" : " -x") + FishValues(option);
    return text + " -d " + FishQuoted(option.Description) + "\n";
}

std::string FishCommand(const CommandFacts& command) {
    const auto at = [&](const std::string& place) {
        return " -n " + FishQuoted("__hoistline_at " + FishQuoted(command.Path) + place);
    };
    std::string text;
    for (const CommandFacts& below : command.Commands)
        text += fmt::format("complete -c hoistline{} -a {} -d {}\n", at(" 0"), below.Name(), FishQuoted(below.Summary));
    for (std::size_t place = 0; place < command.Arguments.size(); ++place)
        if (const std::string values = FishValues(command.Arguments[place]); !values.empty())
            text += fmt::format("complete -c hoistline{}{}\n", at(fmt::format(" {}", place)), values);
    for (const OptionFacts& option : command.Options)
        text += FishOption(at(""), option);
    return text;
}

std::string FishCompletion(const CommandFacts& program) {
    std::string text = FISH_START;
    for (const CommandFacts* command : WholeTree(program))
        for (const CommandFacts& below : command->Commands)
            text += fmt::format("            case {}\n                set command {}\n                set place 0\n",
                                FishQuoted(command->Path + "/" + below.Name()), FishQuoted(below.Path));
    text += fmt::format("            case '*/{}'\n                set skip 1\n",
                        fmt::join(NamesWithValue(program), "' '*/"));
    text += FISH_WALKED;
    for (const OptionFacts& option : CommonOptionsOf(program))
        text += FishOption("", option);
    CommandFacts itself = program;
    std::erase_if(itself.Options, [](const OptionFacts& option) {
        return option.Names.back() != "--help" && option.Names.back() != "--version";
    });
    text += FishCommand(itself);
    for (const CommandFacts* command : WholeTree(program))
        if (!command->Path.empty())
            text += FishCommand(*command);
    return text;
}

} // namespace

std::string CompletionScript(const CommandFacts& program, const std::string& shell) {
    return shell == "bash"  ? BashCompletion(program)
           : shell == "zsh" ? ZshCompletion(program)
                            : FishCompletion(program);
}

} // namespace cli
