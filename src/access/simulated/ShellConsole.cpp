#include "ShellConsole.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace simulator {

static constexpr const char* PROMPT = "> ";
static constexpr std::size_t LONGEST_LINE = 256;
static constexpr std::int64_t LARGEST_NUMBER = 1'000'000; // of lines or milliseconds

void ShellConsole::PowerUp() {
    ++life_;
    running_ = false;
    line_.clear();
    typedAhead_.clear();
    waiting_.clear();
    lost_ = laps_ = 0;
    head_ = tail_ = 0;
    ring_.assign(settings_.ring, 0);
    Print(settings_.banner);
    Prompt();
}

void ShellConsole::Prompt() {
    Print(PROMPT);
    hooks_.outputChanged();
}

void ShellConsole::Input(ByteView typed) {
    for (const std::uint8_t character : typed)
        if (running_)
            typedAhead_.push_back(character);
        else
            Type(character);
    hooks_.outputChanged();
}

void ShellConsole::Type(std::uint8_t character) {
    constexpr std::uint8_t backspace = 8, newLine = 10, carriageReturn = 13, rubOut = 127;
    if (character == carriageReturn) {
        Print("\r\n");
        RunLine();
    } else if (character == backspace || character == rubOut) {
        if (!line_.empty()) {
            line_.pop_back();
            Print("\b \b");
        }
    } else if (character != newLine && line_.size() < LONGEST_LINE) {
        line_ += static_cast<char>(character);
        Put(static_cast<char>(character));
    }
}

void ShellConsole::RunLine() {
    const std::string line = std::exchange(line_, {});
    const auto blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
    std::int64_t number = 0;
    std::from_chars(argument.data(), argument.data() + argument.size(), number);
    number = std::clamp<std::int64_t>(number, 0, LARGEST_NUMBER);

    if (word == "help")
        Print("help version keys flood N sleep MS reset\r\n");
    else if (word == "version")
        Print(hooks_.version() + "\r\n");
    else if (word == "keys")
        Print(hooks_.keys());
    else if (word == "flood")
        for (std::int64_t i = 1; i <= number; ++i)
            Print(fmt::format("line {}\r\n", i));
    else if (word == "sleep")
        return Pause(number);
    else if (word == "reset")
        return hooks_.reset();
    else if (!word.empty())
        Print(fmt::format("unknown command: {}\r\n", word));
    Print(PROMPT);
}

void ShellConsole::Pause(std::int64_t milliseconds) {
    running_ = true;
    hooks_.after(milliseconds, [this, life = life_] {
        if (life == life_) {
            running_ = false;
            Print(PROMPT);
            Input(std::exchange(typedAhead_, {}));
        }
    });
}

void ShellConsole::Print(const std::string& text) {
    for (const char character : text)
        Put(character);
}

void ShellConsole::Put(char character) {
    const auto byte = static_cast<std::uint8_t>(character);
    ++head_;
    if (settings_.isRing) {
        const std::size_t place = head_ & (settings_.ring - 1);
        ring_[place] = byte;
        laps_ += place == 0 ? 1 : 0;
    } else if (waiting_.size() < settings_.ring) {
        waiting_.push_back(byte);
    } else {
        ++lost_;
    }
}

ShellConsole::Taken ShellConsole::Take(std::size_t atMost) {
    Taken taken;
    const auto size = static_cast<std::ptrdiff_t>(std::min(atMost, waiting_.size()));
    taken.written = static_cast<std::uint16_t>(waiting_.size());
    taken.characters.assign(waiting_.begin(), waiting_.begin() + size);
    waiting_.erase(waiting_.begin(), waiting_.begin() + size);
    taken.lost = std::exchange(lost_, 0);
    tail_ = static_cast<std::uint16_t>(tail_ + size);
    taken.head = head_;
    taken.tail = tail_;
    return taken;
}

void ShellConsole::RenderRing(ByteSpan responseBuffer) const {
    Put32(responseBuffer, 0, laps_, settings_.order);
    Put16(responseBuffer, 4, static_cast<std::uint16_t>(settings_.ring - 1), settings_.order);
    Put16(responseBuffer, 6, head_, settings_.order);
    std::copy(ring_.begin(), ring_.end(), responseBuffer.begin() + 8);
}

} // namespace simulator
