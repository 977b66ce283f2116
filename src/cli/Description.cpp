#include "Description.h"

#include <algorithm>
#include <sstream>

namespace cli {

namespace {

bool TakesFile(CLI::Option& option) {
    try {
        return option.get_validator(FILE_VALIDATOR) != nullptr;
    } catch (const CLI::OptionNotFound&) {
        return option.get_positional() && option.get_name().find("FILE") != std::string::npos; // "DEVICE|FILE"
    }
}

// "auto|json|none" in place of a type is all that an option takes.
std::vector<std::string> WordsOf(const std::string& type) {
    std::vector<std::string> words;
    std::istringstream parts(type);
    if (type.find('|') != std::string::npos)
        for (std::string word; std::getline(parts, word, '|');)
            words.push_back(word);
    return words;
}

OptionFacts FactsOf(CLI::Option& option) {
    OptionFacts facts;
    for (const std::string& name : option.get_snames())
        facts.Names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        facts.Names.push_back("--" + name);
    if (facts.Names.empty())
        facts.Names.push_back(option.get_name());
    if (option.get_items_expected_max() > 0)
        facts.Value = option.get_type_name();
    facts.Words = WordsOf(facts.Value);
    facts.Description = option.get_description();
    facts.IsFile = TakesFile(option);
    facts.IsRequired = option.get_required();
    facts.IsRepeated = option.get_items_expected_max() > 1;
    return facts;
}

CommandFacts FactsOf(CLI::App& app, const std::string& path) {
    CommandFacts facts;
    facts.Path = path;
    facts.Summary = app.get_description();
    for (CLI::Option* option : app.get_options())
        (option->get_positional() ? facts.Arguments : facts.Options).push_back(FactsOf(*option));
    for (CLI::App* command : app.get_subcommands([](CLI::App* below) { return !below->get_group().empty(); })) {
        // Groups of options are commands without a name.
        if (!command->get_name().empty()) {
            facts.Commands.push_back(FactsOf(*command, path + (path.empty() ? "" : " ") + command->get_name()));
            continue;
        }
        const CommandFacts group = FactsOf(*command, path);
        facts.Options.insert(facts.Options.end(), group.Options.begin(), group.Options.end());
        facts.Arguments.insert(facts.Arguments.end(), group.Arguments.begin(), group.Arguments.end());
    }
    std::ranges::copy_if(EXAMPLES, std::back_inserter(facts.Examples),
                         [&](const Example& example) { return example.Command == path; });
    return facts;
}

} // namespace

std::string CommandFacts::Name() const {
    return Path.substr(Path.rfind(' ') + 1);
}

CommandFacts Describe(CommandSet& set) {
    return FactsOf(set.app, "");
}

std::vector<const CommandFacts*> WholeTree(const CommandFacts& command) {
    std::vector<const CommandFacts*> tree{&command};
    for (const CommandFacts& below : command.Commands)
        std::ranges::copy(WholeTree(below), std::back_inserter(tree));
    return tree;
}

std::string Synopsis(const CommandFacts& command) {
    std::string synopsis = "[OPTIONS]";
    if (!command.Commands.empty())
        synopsis += " COMMAND";
    for (const OptionFacts& argument : command.Arguments) {
        const std::string name = argument.Names.front() + (argument.IsRepeated ? "..." : "");
        synopsis += argument.IsRequired ? " " + name : " [" + name + "]";
    }
    return synopsis;
}

} // namespace cli
