#include "ShellText.h"

#include <algorithm>

namespace shellText {

namespace {

constexpr std::uint8_t BACKSPACE = 8, LINE_FEED = 10, RETURN = 13;

// Every CR but that of a line end goes; the only one that can stand alone is one whose LF a
// backspace took.
void Append(ByteArray& text, std::uint8_t character) {
    if (!text.empty() && text.back() == RETURN)
        text.pop_back();
    if (character == LINE_FEED)
        text.push_back(RETURN);
    if (character != RETURN)
        text.push_back(character);
}

} // namespace

Edit EditOf(const ByteArray& data, std::size_t onScreen) {
    Edit edit;
    if (data.size() == 1 && data.front() == 0)
        return edit;
    std::int64_t position = 0, lowest = 0;
    for (const std::uint8_t character : data) {
        if (character != BACKSPACE) {
            ++position;
            Append(edit.text, character);
            continue;
        }
        --position;
        if (!edit.text.empty())
            edit.text.pop_back();
        else
            lowest = std::min(lowest, position);
    }
    edit.back = std::min(static_cast<std::size_t>(-lowest), onScreen);
    return edit;
}

void Join(Edit& earlier, const Edit& next) {
    const std::size_t taken = std::min(next.back, earlier.text.size());
    earlier.text.resize(earlier.text.size() - taken);
    earlier.back += next.back - taken;
    for (const std::uint8_t character : next.text)
        if (character != RETURN)
            earlier.text.push_back(character == 0 ? ' ' : character);
}

std::string PasteText(const std::string& clipboard) {
    std::string text;
    for (std::size_t i = 0; i < clipboard.size(); ++i) {
        const bool lineEnd = clipboard[i] == '\n';
        if (lineEnd && i > 0 && clipboard[i - 1] == '\r')
            continue; // the CR in front has gone out
        text.push_back(lineEnd ? '\r' : clipboard[i]);
    }
    return text;
}

} // namespace shellText
