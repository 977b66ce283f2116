// Any bytes as a key batch, as a data file, and as a device's answer.
#include "CodePage.h"
#include "KeyBatchText.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace basAutomation;

void Demand(bool condition) {
    if (!condition)
        std::abort();
}

// Every character of the text is in an item, or is a blank, a quote or an end.
void ReadItems(const std::string& text) {
    ItemReader items(text);
    std::size_t characters = 0, count = 0;
    while (!items.AtEnd()) {
        characters += items.Next().size();
        ++count;
    }
    Demand(characters <= text.size() && count <= text.size());
}

void ReadLine(std::string& line) {
    std::vector<std::string> words;
    Demand(SplitArguments(line, words) == 1);
    std::size_t length = words.empty() ? 0 : words.size() - 1;
    for (const std::string& word : words) {
        Demand(word.find_first_of(" \t") == std::string::npos);
        length += word.size();
    }
    Demand(length == line.size());
}

// A line that is cleaned once is clean.
void CleanTwice(const std::string& text) {
    TagFault first = TagFault::None, second = TagFault::None;
    const std::string once = WithoutTags(text, first);
    Demand(WithoutTags(once, second) == once);
    Demand((first == TagFault::None) == (once.find_first_of("<>") == std::string::npos));
    Demand(StripComments(StripComments(text)) == StripComments(text));
}

void Write(const std::string& text, const ByteArray& data) {
    KeyOperation operation{READ_KEY_OPERATION, ByteArray(8), text, text, data, 1};
    const BatchFacts facts{text, text, text, text, 1};
    DataFileLines(operation, facts, MakerTexts{text, text});
    ReportHead(facts);
    Demand(ReportRow(operation).size() == 3);
    ReportEnd(text, text);
    Demand(ReportFileName(text) != text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteArray bytes(data, data + size);
    const std::string text = platform::TextFromAnsi(bytes);
    ReadItems(text);
    CleanTwice(text);
    for (const auto comment : {ItemReader::Comment::Item, ItemReader::Comment::Line})
        ForEachLine(
            text, comment, [](const std::string&) {}, ReadLine);
    Write(text, bytes);
    return 0;
}
