// What a script sends to a console and expects from it. No device here.
#pragma once

#include "Bytes.h"

#include <regex>
#include <string>
#include <variant>
#include <vector>

namespace cli {

struct ShellSend {
    std::string typed;
    ByteArray bytes;
};
struct ShellExpect {
    std::string typed;
    std::regex pattern;
};
using ShellAction = std::variant<ShellSend, ShellExpect>;

// With the escapes \r \n \t \e \0 \\ and \xHH; other text crosses through the code page. Failure 5 for anything else
// after a backslash, and for a text of nothing.
ShellSend ParseSend(const std::string& typed);
// ECMAScript by lines: "^" and "$" also match at a line's ends. Failure 5 if it isn't one. No back references: without
// them a search takes linear time and little stack, whatever a device prints.
ShellExpect ParseExpect(const std::string& typed);

// The characters that a search sees: those since the last one that was found, 4096 at most.
class ShellReceived {
public:
    void Append(const ByteArray& bytes);
    void Clear() { text_.clear(); }
    // Takes away what was found, and what came before it.
    bool Take(const ShellExpect& expected);

private:
    std::string text_; // in the code page
};

// Makes what a person or a file has into what a console takes: the code page's bytes, and each line end of a file as
// the Return key sends it. Characters and line ends may be cut anywhere.
class ShellTyping {
public:
    explicit ShellTyping(bool convertsLineEnds) : convertsLineEnds_(convertsLineEnds) {}
    ByteArray Take(std::string_view text);
    ByteArray TakeRest(); // of a character that was never completed

private:
    bool convertsLineEnds_, afterReturn_ = false;
    std::string rest_;
};

} // namespace cli
