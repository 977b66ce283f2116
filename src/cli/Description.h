// The command line as data, drawn from the description that parses it: what completion, help and manual pages tell.
#pragma once

#include "Commands.h"

#include <string>
#include <vector>

namespace cli {

struct OptionFacts {
    std::vector<std::string> Names; // "-q", "--quiet"; of an argument its one name, "DEVICE"
    std::string Value;              // what it takes, "SECONDS"; empty for a flag
    std::vector<std::string> Words; // all that it takes, when they are few
    std::string Description;
    bool IsFile = false, IsRequired = false, IsRepeated = false;
};

struct Example {
    const char *Command, *Line, *Text; // "package pack"; as typed; what it does
};

struct CommandFacts {
    std::string Path; // "package pack"; empty for the program
    std::string Summary;
    std::vector<OptionFacts> Options, Arguments; // its own ones
    std::vector<CommandFacts> Commands;
    std::vector<Example> Examples;

    [[nodiscard]] std::string Name() const; // the last word of the path
};

// Hidden commands are left out.
CommandFacts Describe(CommandSet& set);
// The command and all below it, in order.
std::vector<const CommandFacts*> WholeTree(const CommandFacts& command);
// As in help: "[OPTIONS] PACKAGE [DEVICE]".
std::string Synopsis(const CommandFacts& command);

extern const std::vector<Example> EXAMPLES; // Examples.cpp

// The completion script of "bash", "zsh" or "fish".
std::string CompletionScript(const CommandFacts& program, const std::string& shell);

// Manual pages in roff: of the program, and of each of its commands.
struct ManualPage {
    std::string File; // "hoistline-load.1"
    std::string Text;
};
std::vector<ManualPage> ManualPages(const CommandFacts& program);

} // namespace cli
