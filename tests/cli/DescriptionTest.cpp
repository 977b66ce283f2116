// Help, completion and manual pages tell of everything that the command line takes, and shells and readers take them.
#include "Description.h"
#include "TestFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace {

using namespace cli;

class Description : public testing::Test {
protected:
    // The exit code of a shell command about a file with this content.
    int Check(const std::string& content, const std::string& command) {
        const std::string path = folder.file("checked");
        std::ofstream(path) << content;
        return std::system(fmt::format("{} '{}' >/dev/null 2>&1", command, path).c_str());
    }
    static bool Has(const char* program) {
        return std::system(fmt::format("command -v {} >/dev/null", program).c_str()) == 0;
    }

    ::TestFolder folder;
    std::unique_ptr<CommandSet> set = AllCommands();
    CommandFacts program = Describe(*set);
};

// Where `text` has `part` as a word of its own.
bool HasWord(const std::string& text, const std::string& part) {
    constexpr const char* WORD = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        const bool begins = at == 0 || std::string_view(WORD).find(text[at - 1]) == std::string_view::npos;
        const std::size_t end = at + part.size();
        if (begins && (end == text.size() || std::string_view(WORD).find(text[end]) == std::string_view::npos))
            return true;
    }
    return false;
}

std::string LinesWith(const std::string& text, const std::string& mark) {
    std::istringstream lines(text);
    std::string found;
    for (std::string line; std::getline(lines, line);)
        if (line.find(mark) != std::string::npos)
            found += line + "\n";
    return found;
}

TEST_F(Description, IsWhatEachShellCompletes) {
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        const std::string script = CompletionScript(program, shell);
        for (const CommandFacts* command : WholeTree(program)) {
            SCOPED_TRACE(shell + " " + command->Path);
            const std::string mark = shell == "fish" ? "__hoistline_at \\'" + command->Path + "\\'"
                                                     : "'" + command->Path + "')"; // the list of its options
            const std::string own = shell == "zsh" ? script : LinesWith(script, mark);
            for (const CommandFacts& below : command->Commands)
                EXPECT_TRUE(HasWord(script, below.Name()));
            for (const OptionFacts& option : command->Options)
                for (const std::string& name : option.Names) {
                    const std::string shown =
                        shell != "fish" ? name
                                        : (name.starts_with("--") ? "-l " + name.substr(2) : "-s " + name.substr(1));
                    EXPECT_TRUE(HasWord(command->Path.empty() ? script : own, shown)) << name;
                    for (const std::string& word : option.Words)
                        EXPECT_TRUE(HasWord(script, word)) << word;
                }
        }
        EXPECT_TRUE(!Has(shell.c_str()) || Check(script, shell + " -n") == 0) << script;
    }
}

TEST_F(Description, IsWhatTheManualPagesTell) {
    std::map<std::string, std::string> pages;
    for (const ManualPage& page : ManualPages(program)) {
        pages[page.File] = page.Text;
        if (Has("groff")) {
            EXPECT_EQ(Check(page.Text, "f() { test -z \"$(groff -ww -man -Tutf8 -z \"$1\" 2>&1)\"; }; f"), 0)
                << page.File;
        }
    }
    for (const CommandFacts* command : WholeTree(program)) {
        const std::string top = command->Path.substr(0, command->Path.find(' '));
        std::string page = pages[top.empty() ? "hoistline.1" : "hoistline-" + top + ".1"];
        for (std::size_t at = 0; (at = page.find("\\-", at)) != std::string::npos;)
            page.erase(at, 1);
        for (const auto* options : {&command->Options, &command->Arguments})
            for (const OptionFacts& option : *options)
                for (const std::string& name : option.Names)
                    EXPECT_NE(page.find("\\fB" + name + "\\fR"), std::string::npos) << command->Path << " " << name;
        EXPECT_NE(page.find(command->Path), std::string::npos);
    }
}

TEST_F(Description, HasExamplesThatAreUnderstood) {
    for (const Example& example : EXAMPLES) {
        std::istringstream line(example.Line);
        std::vector<std::string> words;
        for (std::string word; line >> word && word != ">";) {
            std::erase(word, '\'');
            words.push_back(word);
        }
        const std::unique_ptr<CommandSet> fresh = AllCommands();
        EXPECT_NO_THROW(fresh->app.parse(std::vector<std::string>(words.rbegin(), words.rend() - 1))) << example.Line;
        EXPECT_TRUE(fresh->ParsedName() == example.Command || *example.Command == 0) << example.Line;
    }
}

} // namespace
