// Joins the arguments from the shell into the one raw command line that the parser of the options takes
// apart at each "/" outside double quotes.
//
// A path that contains a double quote can't be expressed: the parser has no escape for it.
#include "StartUp.h"

#include "CodePage.h"
#include "Files.h"
#include "Paths.h"
#include "basAutomation.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <string_view>

namespace basApp {

namespace {

enum class Value { Unknown, Nothing, Digits, File };

// What follows the option of this letter; Unknown when there is no such option.
Value ValueOf(char letter) {
    if (letter == 'A' || letter == 'F') // operations that aren't in the table
        return Value::Nothing;
    static const std::vector<basAutomation::CommandLineOption> rows = basAutomation::OptionRows();
    const auto row = std::ranges::find(rows, std::string(1, letter), &basAutomation::CommandLineOption::ShortForm);
    if (row == rows.end())
        return Value::Unknown;
    if (row->MinArguments == 0)
        return Value::Nothing;
    return row->TakesFile ? Value::File : Value::Digits;
}

bool TakesValue(char letter) {
    return ValueOf(letter) == Value::File || ValueOf(letter) == Value::Digits;
}

bool StartsWithSlash(std::string_view text) {
    return text.starts_with('/');
}

bool Exists(const std::string& path) {
    return !path.empty() && path.find_first_of("*?") == std::string::npos && platform::FindFirstFileA(path);
}

// In exactly this spelling: paths are case-blind otherwise, and "/RUN" would become the folder "/run".
bool ExistsAsSpelled(const std::string& path) {
    std::error_code error;
    return Exists(path) && std::filesystem::exists(path, error);
}

bool IsAbsolute(std::string_view text) {
    return text.starts_with('/') || text.starts_with('\\') || (text.size() > 1 && text[1] == ':');
}

// The letter of the option that `text` begins with, in capitals; 0 without one.
char OptionLetter(const std::string& text) {
    const bool option = text.size() > 1 && text[0] == '/' && std::isalpha(static_cast<unsigned char>(text[1])) != 0;
    return option ? static_cast<char>(std::toupper(static_cast<unsigned char>(text[1]))) : '\0';
}

// Only options of one letter each: "/D", "/A/B", "/S /O".
bool IsLetterOptions(std::string text) {
    std::erase(text, ' ');
    if (text.empty() || text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2)
        if (OptionLetter(text.substr(i, 2)) == '\0')
            return false;
    return true;
}

// The file in the same argument as its option, as in "/Dfw/app.twd" or "/D my app.twd /S", and the
// options after it. Nothing if there is no such file.
struct AttachedFile {
    std::string path, options;
};
std::optional<AttachedFile> FindAttachedFile(const std::string& text) {
    if (ValueOf(OptionLetter(text)) != Value::File)
        return {};
    for (std::size_t end = text.size(); end != std::string::npos && end > 2; end = text.rfind('/', end - 1)) {
        const std::string options = text.substr(end), path = platform::Trim(text.substr(2, end - 2));
        if ((options.empty() || IsLetterOptions(options)) && Exists(path))
            return AttachedFile{path, options};
    }
    return {};
}

// The program changes its directory at start, so a relative path is fixed while it still means
// what the user meant. Not tidied up: "link/.." needn't be where it seems.
std::string MadeAbsolute(std::string text) {
    if (IsAbsolute(text) || !Exists(text))
        return text;
    while (text.starts_with("./"))
        text.erase(0, 2);
    return platform::JoinPath(platform::CurrentDirectory(), text);
}

std::string InQuotes(std::string text) {
    std::erase(text, '"');
    return '"' + text + '"';
}

class Joiner {
public:
    void Take(const std::string& argument);
    std::string line;

private:
    bool IsOption(const std::string& text) const;
    void TakeWord(const std::string& word);
    void TakeOptionOrValue(const std::string& text);
    void TakeOption(const std::string& text);
    void TakeFileOption(const std::string& text);
    void TakeValue(const std::string& text);
    void TakeQuoted(const std::string& text);
    std::string Fixed(const std::string& value) const;
    void Append(const std::string& text);

    char letter_ = '\0';       // of the last option
    bool awaitsValue_ = false; // whose value hasn't come yet
};

void Joiner::Append(const std::string& text) {
    if (!line.empty())
        line += ' ';
    line += text;
}

bool Joiner::IsOption(const std::string& text) const {
    if (!StartsWithSlash(text))
        return false;
    if (text.size() == 2)
        return true;
    if (ExistsAsSpelled(text))
        return false;
    if (text.find('/', 1) == std::string::npos || IsLetterOptions(text))
        return true;
    // "/data/app.twd" is a path after "/D", and otherwise what it looks like.
    const char letter = OptionLetter(text);
    return !awaitsValue_ && (TakesValue(letter) || (ValueOf(letter) == Value::Nothing && text[2] == '/'));
}

// A GUID isn't a path, even if there is a file of that name.
std::string Joiner::Fixed(const std::string& value) const {
    return ValueOf(letter_) == Value::Digits ? value : MadeAbsolute(value);
}

void Joiner::TakeQuoted(const std::string& text) {
    Append(InQuotes(Fixed(text)));
    awaitsValue_ = false;
}

void Joiner::TakeValue(const std::string& text) {
    const std::string value = Fixed(text);
    Append(value.find_first_of("/ ") == std::string::npos ? value : InQuotes(value));
    awaitsValue_ = false;
}

// What follows the letter is one path: its own slashes start no option.
void Joiner::TakeFileOption(const std::string& text) {
    const auto attached = FindAttachedFile(text);
    const bool whole = !attached && text.find('/', 1) == std::string::npos;
    Append(whole ? text : text.substr(0, 2));
    if (whole)
        return;
    TakeQuoted(attached ? attached->path : text.substr(2));
    if (attached && !attached->options.empty())
        TakeOptionOrValue(attached->options);
}

void Joiner::TakeOption(const std::string& text) {
    const bool lettersOnly = IsLetterOptions(text);
    letter_ = OptionLetter(lettersOnly ? text.substr(text.size() - 2) : text);
    awaitsValue_ = lettersOnly && TakesValue(letter_);
    if (!lettersOnly && ValueOf(letter_) == Value::File) {
        TakeFileOption(text);
        return;
    }
    const std::size_t next = lettersOnly ? std::string::npos : text.find('/', 1);
    Append(text.substr(0, next));
    if (next != std::string::npos)
        TakeOptionOrValue(text.substr(next));
}

void Joiner::TakeOptionOrValue(const std::string& text) {
    if (IsOption(text))
        TakeOption(text);
    else
        TakeValue(text);
}

// A word of a command line, with its quotes.
void Joiner::TakeWord(const std::string& word) {
    const auto quotes = std::count(word.begin(), word.end(), '"');
    const bool fileOption = ValueOf(OptionLetter(word)) == Value::File;
    const std::size_t first = fileOption ? 2 : 0;
    if (quotes == 0) {
        TakeOptionOrValue(word);
    } else if (quotes == 2 && word.find('"') == first && word.back() == '"') {
        if (fileOption)
            TakeOption(word.substr(0, 2));
        TakeQuoted(word.substr(first + 1, word.size() - first - 2));
    } else {
        Append(word);
    }
}

// Splits at blanks that aren't inside double quotes; the quotes stay.
std::vector<std::string> Words(const std::string& text) {
    std::vector<std::string> words(1);
    bool quoted = false;
    for (char character : text) {
        quoted = quoted != (character == '"');
        if (character != ' ' || quoted)
            words.back() += character;
        else if (!words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

// Options together with their values in one argument: `/D /srv/app.twd /S`, `/B"x/y"`.
bool IsCommandLine(const std::string& text) {
    return StartsWithSlash(text) && text.find_first_of(" \"") != std::string::npos && !ExistsAsSpelled(text) &&
           !FindAttachedFile(text);
}

void Joiner::Take(const std::string& argument) {
    if (!IsCommandLine(argument)) {
        TakeOptionOrValue(argument);
        return;
    }
    for (const std::string& word : Words(argument))
        TakeWord(word);
}

} // namespace

std::string JoinArguments(const std::vector<std::string>& arguments) {
    Joiner joiner;
    for (const std::string& argument : arguments)
        if (!argument.empty())
            joiner.Take(argument);
    return joiner.line;
}

} // namespace basApp
