// From the arguments that a shell hands over to the one raw command line of the options' parser,
// which splits at each "/" that isn't inside double quotes.
//
// A path that has to hold a double quote can't be expressed: the parser knows no way to escape one.
#include "Files.h"
#include "Paths.h"
#include "basApp.h"
#include "basUtils.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace basApp {

namespace {

bool IsAbsolute(const std::string& text) {
    return text.starts_with('/');
}

// In exactly this spelling: paths are case-blind otherwise, and "/RUN" would become the folder "/run".
bool ExistsAsSpelled(const std::string& path) {
    if (path.empty() || path.find_first_of("*?") != std::string::npos)
        return false;
    std::string directory, fileName;
    basUtils::SplitPath(path, directory, fileName);
    const auto found = platform::FindFirstFileA(path);
    return found && found->FileName == fileName;
}

// Options that stand together, each of one letter: "/D", "/A/B".
bool IsLetterOptions(const std::string& text) {
    if (text.empty() || text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        if (text[i] != '/' || !std::isalpha(static_cast<unsigned char>(text[i + 1])))
            return false;
    }
    return true;
}

bool IsOption(const std::string& text) {
    if (!IsAbsolute(text))
        return false;
    if (text.size() == 2)
        return true;
    const bool optionShaped = text.find('/', 1) == std::string::npos || IsLetterOptions(text);
    return optionShaped && !ExistsAsSpelled(text);
}

// Options together with their values in one argument: `/D /srv/app.twd /S`, `/B"x/y"`.
bool IsCommandLine(const std::string& text) {
    return IsAbsolute(text) && text.find_first_of(" \"") != std::string::npos && !ExistsAsSpelled(text);
}

// The program changes its directory at start, so a relative path is fixed while it still means
// what the user meant.
std::string MadeAbsolute(const std::string& text) {
    if (IsAbsolute(text) || !ExistsAsSpelled(text))
        return text;
    return std::filesystem::path(platform::JoinPath(platform::CurrentDirectory(), text)).lexically_normal().string();
}

std::string Value(const std::string& text) {
    std::string value = MadeAbsolute(text);
    const bool needsQuotes = value.find_first_of("/ ") != std::string::npos;
    if (!needsQuotes)
        return value;
    std::erase(value, '"');
    return '"' + value + '"';
}

std::string OptionOrValue(const std::string& text) {
    return IsOption(text) ? text : Value(text);
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

std::string RewrittenWord(const std::string& word) {
    const auto quotes = std::count(word.begin(), word.end(), '"');
    if (quotes == 0)
        return OptionOrValue(word);
    const bool quotedWhole = quotes == 2 && word.front() == '"' && word.back() == '"';
    return quotedWhole ? '"' + MadeAbsolute(word.substr(1, word.size() - 2)) + '"' : word;
}

void Append(std::string& line, const std::string& text) {
    if (!line.empty())
        line += ' ';
    line += text;
}

} // namespace

std::string JoinArguments(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments) {
        if (argument.empty())
            continue;
        if (!IsCommandLine(argument)) {
            Append(line, OptionOrValue(argument));
            continue;
        }
        for (const std::string& word : Words(argument))
            Append(line, RewrittenWord(word));
    }
    return line;
}

} // namespace basApp
