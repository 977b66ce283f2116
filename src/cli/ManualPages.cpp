// Manual pages, from the description of the command line.
#include "Description.h"

#include "basApp.h"

#include <fmt/format.h>

#include <algorithm>

namespace cli {

namespace {

struct VerdictMeaning {
    Verdict verdict;
    const char* meaning;
};

constexpr VerdictMeaning VERDICTS[] = {
    {Verdict::Done, "all that was asked, proved by the device's own answer"},
    {Verdict::Failed, "an unexpected failure, or a failure of some of the steps"},
    {Verdict::Usage, "the command line isn't understood; nothing was touched"},
    {Verdict::NoBus, "no adapter, no permission or no access library"},
    {Verdict::NoDevice, "no device, or not the named one"},
    {Verdict::Ambiguous, "several devices, and none was named"},
    {Verdict::Refused, "the package or the value is bad or doesn't fit the device; nothing was written"},
    {Verdict::Unchanged, "it failed before the device was changed"},
    {Verdict::Damaged, "it failed after the erase had begun: the device needs another load"},
    {Verdict::Differs, "the device holds something else"},
    {Verdict::TimedOut, "the time limit ended it; the record tells whether the device was changed"},
    {Verdict::Interrupted, "Ctrl+C or SIGTERM ended it; a load first finishes the block under way"},
};

// What roff takes for a request or an escape is text here.
std::string Roff(const std::string& text) {
    std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char c : text)
        if (c == '\\')
            escaped += "\\e";
        else if (c == '\'')
            escaped += "\\(aq";
        else if (c == '-' || c == '~' || c == '^')
            escaped += c == '-' ? "\\-" : c == '~' ? "\\(ti" : "\\(ha";
        else
            escaped += c;
    return escaped;
}

std::string FullName(const CommandFacts& command) {
    return command.Path.empty() ? "hoistline" : "hoistline " + command.Path;
}

std::string PageName(const std::string& command) {
    return command.empty() ? "hoistline" : "hoistline-" + command;
}

std::string SeeAlso(const std::string& command) {
    return fmt::format("\\fB{}\\fR(1)", Roff(PageName(command)));
}

std::string OptionText(const OptionFacts& option) {
    std::string names;
    for (const std::string& name : option.Names)
        names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", Roff(name));
    if (!option.Value.empty() && option.Names.front().starts_with('-'))
        names += fmt::format(" \\fI{}\\fR", Roff(option.Value));
    return fmt::format(".TP\n{}\n{}.\n", names, Roff(option.Description));
}

std::string OptionsText(const char* heading, const std::vector<OptionFacts>& options) {
    std::string text;
    for (const OptionFacts& option : options)
        text += OptionText(option);
    return text.empty() ? text : fmt::format(".{}\n{}", heading, text);
}

std::string SynopsisText(const CommandFacts& command) {
    return fmt::format(".B {}\n{}\n", Roff(FullName(command)), Roff(Synopsis(command)));
}

std::string ExamplesText(const CommandFacts& command) {
    std::string text;
    for (const CommandFacts* each : WholeTree(command))
        if (!command.Path.empty() || each == &command)
            for (const Example& example : each->Examples)
                text += fmt::format(".TP\n.B {}\n{}.\n", Roff(example.Line), Roff(example.Text));
    return text.empty() ? text : ".SH EXAMPLES\n" + text;
}

std::string Heading(const std::string& page, const std::string& summary) {
    std::string title = Roff(page);
    std::ranges::transform(title, title.begin(), [](char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; });
    return fmt::format(".TH {} 1 \"\" \"hoistline {}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n", title,
                       basApp::VersionText(), Roff(page), Roff(summary));
}

// A command below a group has a section in the group's page.
std::string Subcommand(const CommandFacts& command) {
    return fmt::format(".SS {}\n{}.PP\n{}.\n", Roff(FullName(command)), SynopsisText(command), Roff(command.Summary)) +
           OptionsText("PP", command.Arguments) + OptionsText("PP", command.Options);
}

std::string CommandPage(const CommandFacts& command) {
    std::string text = Heading(PageName(command.Path), command.Summary) + ".SH SYNOPSIS\n" + SynopsisText(command) +
                       OptionsText("SH ARGUMENTS", command.Arguments) + OptionsText("SH OPTIONS", command.Options);
    if (!command.Commands.empty())
        text += ".SH COMMANDS\n";
    for (const CommandFacts& below : command.Commands)
        text += Subcommand(below);
    return text + ".PP\nThe options of all commands and the exit codes are in " + SeeAlso("") + ".\n" +
           ExamplesText(command) + ".SH SEE ALSO\n" + SeeAlso("") + "\n";
}

std::string CommandsText(const CommandFacts& program) {
    std::string text = ".SH COMMANDS\n";
    for (const CommandFacts& command : program.Commands)
        text += fmt::format(".TP\n{}\n{}.\n", SeeAlso(command.Path), Roff(command.Summary));
    return text;
}

std::string ExitText() {
    std::string text = ".SH EXIT STATUS\nThe verdict is the same word in text, JSON and JUnit.\n";
    for (const VerdictMeaning& row : VERDICTS)
        text += fmt::format(".TP\n.B {} {}\n{}.\n", static_cast<int>(row.verdict), Roff(WordOf(row.verdict)),
                            Roff(row.meaning));
    return text;
}

constexpr const char* DESCRIPTION =
    ".SH DESCRIPTION\n"
    "Standard output holds the answer and nothing else; messages, progress and the verdict go to standard error.\n"
    ".PP\n"
    "A device is named last: by its GUID, with or without blanks, or as \\fB#2\\fR for node 2 (quote it for the "
    "shell).\n"
    "It need not be named when exactly one fits.\n";

constexpr const char* SURROUNDINGS =
    ".SH ENVIRONMENT\n"
    ".TP\n.B NO_COLOR\nno colours when it is set to anything but an empty text.\n"
    ".TP\n.B TERM\n\\fBdumb\\fR: neither colours nor a line that is redrawn.\n"
    ".TP\n.B LC_ALL, LC_CTYPE, LANG\na terminal whose locale lacks UTF\\-8 gets \\(lq?\\(rq for each character beyond "
    "ASCII.\n"
    ".SH FILES\n"
    "All but documents lie in the program's directory or, when that is below \\fI/usr\\fR or can't be written, in "
    "\\fBHoistlineApp\\fR of the user's data folder; documents lie beside the program.\n"
    ".TP\n.B db1.mdb\nthe settings and the log.\n"
    ".TP\n.B simulated\\-bus.json\ndescribes the simulated bus when \\fB\\-\\-bus\\fR names none.\n"
    ".TP\n.B docs/hoistline.schema.json\nthe JSON Schema of all that \\fB\\-\\-json\\fR writes.\n";

std::string ProgramPage(const CommandFacts& program) {
    std::string text = Heading("hoistline", "find, load and program devices on an IEEE 1394 bus") + ".SH SYNOPSIS\n" +
                       SynopsisText(program) + DESCRIPTION + CommandsText(program) +
                       OptionsText("SH OPTIONS", program.Options) + ExitText() + SURROUNDINGS + ExamplesText(program) +
                       ".SH SEE ALSO\n";
    for (const CommandFacts& command : program.Commands)
        text += SeeAlso(command.Path) + (&command == &program.Commands.back() ? "\n" : ",\n");
    return text;
}

} // namespace

std::vector<ManualPage> ManualPages(const CommandFacts& program) {
    std::vector<ManualPage> pages{{"hoistline.1", ProgramPage(program)}};
    for (const CommandFacts& command : program.Commands)
        pages.push_back({PageName(command.Path) + ".1", CommandPage(command)});
    return pages;
}

} // namespace cli
