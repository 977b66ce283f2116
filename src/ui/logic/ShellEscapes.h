// Parses the escape sequences in a console's output byte by byte, in constant memory: a sequence may be cut anywhere
// and may be endless. Sequences as in ECMA-48; the bytes 128 to 159 are characters here, since consoles print in an
// 8-bit code page.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace shellEscapes {

struct Sequence {
    bool control = false;                        // ESC [ ... (CSI); else ESC and one character
    bool unusual = false;                        // with a private marker, an intermediate or a colon in it
    std::uint8_t final = 0;                      // the character that says what it does
    std::array<std::uint16_t, 16> parameters{};  // 9999 at most each; further ones are ignored
    std::size_t count = 0;                       // of parameters present
    std::size_t Number(std::size_t index) const; // a parameter that is missing or 0 counts as 1
};

class Parser {
public:
    enum class Found { Nothing, Character, WholeSequence };
    // Whether the byte belongs to the text, ends a sequence, or neither. Strings (ESC ] and others) are skipped. A
    // control character within a sequence ends it, so that output is read again after a restart in the middle of one.
    Found Take(std::uint8_t byte);
    bool InText() const { return state_ == State::Text; }
    const Sequence& Last() const { return sequence_; }
    void Reset() { state_ = State::Text; }

private:
    enum class State { Text, Escape, Intermediate, Control, String };
    Found TakeControlCharacter(std::uint8_t byte);
    Found TakeAfterEscape(std::uint8_t byte);
    Found TakeInControl(std::uint8_t byte);
    Found End(Found found);

    State state_ = State::Text;
    Sequence sequence_;
    std::size_t stringLeft_ = 0; // characters that a string may still have
};

} // namespace shellEscapes
