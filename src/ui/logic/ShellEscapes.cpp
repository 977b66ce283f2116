#include "ShellEscapes.h"

#include <algorithm>
#include <string_view>

namespace shellEscapes {

namespace {

constexpr std::uint8_t BELL = 7, CANCEL = 24, SUBSTITUTE = 26, ESCAPE = 27, BLANK = 32, DELETE = 127;
constexpr std::size_t LONGEST_STRING = 1024; // enough for a window title; anything longer is text
constexpr unsigned LARGEST_NUMBER = 9999;
constexpr std::string_view STRINGS = "]PX^_"; // OSC, DCS, SOS, PM, APC

} // namespace

std::size_t Sequence::Number(std::size_t index) const {
    return index < count ? std::max<std::size_t>(parameters[index], 1) : 1;
}

Parser::Found Parser::End(Found found) {
    state_ = State::Text;
    return found;
}

Parser::Found Parser::Take(std::uint8_t byte) {
    if (byte == ESCAPE) {
        state_ = State::Escape;
        sequence_ = {};
        return Found::Nothing;
    }
    if (state_ == State::Text)
        return Found::Character;
    if (byte < BLANK)
        return TakeControlCharacter(byte);
    if (byte == DELETE)
        return Found::Nothing;
    switch (state_) {
    case State::Escape:
        return TakeAfterEscape(byte);
    case State::Intermediate:
        return byte < '0' ? Found::Nothing : End(Found::WholeSequence);
    case State::Control:
        return TakeInControl(byte);
    default:
        return stringLeft_-- > 0 ? Found::Nothing : End(Found::Character);
    }
}

Parser::Found Parser::TakeControlCharacter(std::uint8_t byte) {
    const bool only = byte == CANCEL || byte == SUBSTITUTE || (byte == BELL && state_ == State::String);
    return End(only ? Found::Nothing : Found::Character);
}

Parser::Found Parser::TakeAfterEscape(std::uint8_t byte) {
    if (byte > DELETE)
        return End(Found::Character);
    if (byte == '[') {
        sequence_.control = true;
        state_ = State::Control;
    } else if (STRINGS.find(char(byte)) != std::string_view::npos) {
        stringLeft_ = LONGEST_STRING;
        state_ = State::String;
    } else if (byte < '0') {
        sequence_.unusual = true;
        state_ = State::Intermediate;
    } else {
        sequence_.final = byte;
        return End(Found::WholeSequence);
    }
    return Found::Nothing;
}

Parser::Found Parser::TakeInControl(std::uint8_t byte) {
    if (byte > DELETE)
        return End(Found::Character);
    if (byte >= '@') {
        sequence_.final = byte;
        return End(Found::WholeSequence);
    }
    auto& [control, unusual, final, parameters, count] = sequence_;
    if (byte >= '0' && byte <= '9') {
        count = std::max<std::size_t>(count, 1);
        if (count <= parameters.size()) {
            std::uint16_t& number = parameters[count - 1];
            number = std::uint16_t(std::min(number * 10U + (byte - '0'), LARGEST_NUMBER));
        }
    } else if (byte == ';') {
        count = std::min(std::max<std::size_t>(count, 1) + 1, parameters.size() + 1);
    } else {
        unusual = true;
    }
    return Found::Nothing;
}

} // namespace shellEscapes
