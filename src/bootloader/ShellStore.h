// What a target's console has printed, for a terminal that is opened later.
#pragma once

#include "Bytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

inline constexpr std::size_t SHELL_BUFFER_SIZE = 16534;

// A remark about the console at a place in its output; not part of the text.
struct ShellMark {
    std::uint64_t At = 0; // characters printed before it
    std::string Text;
    bool StartsOver = false; // the device restarted
};

// A circular store. Unused places hold 0, which distinguishes a store that has wrapped from one
// that hasn't; a character 0 is therefore kept as a blank.
struct ShellStore {
    ByteArray ShellBuffer;             // SHELL_BUFFER_SIZE bytes once created
    std::int32_t ShellBufferCount = 0; // place of the next character
    std::uint64_t Printed = 0;         // characters ever stored
    std::vector<ShellMark> Marks;      // oldest first; only those within the store

    void Create() { ShellBuffer.resize(SHELL_BUFFER_SIZE); }

    void Append(const ByteArray& characters) {
        Create();
        Printed += characters.size();
        for (const std::uint8_t character : characters) {
            ShellBuffer[static_cast<std::size_t>(ShellBufferCount)] = character == 0 ? ' ' : character;
            if (++ShellBufferCount == static_cast<std::int32_t>(SHELL_BUFFER_SIZE))
                ShellBufferCount = 0;
        }
    }

    // Marks the present end of the output.
    void AddMark(std::string text, bool startsOver) {
        constexpr std::size_t MOST = 100;
        std::erase_if(Marks, [this](const ShellMark& mark) { return Printed - mark.At > SHELL_BUFFER_SIZE; });
        if (Marks.size() == MOST)
            Marks.erase(Marks.begin());
        Marks.push_back({Printed, std::move(text), startsOver});
    }

    // The pieces to show, oldest first: up to two.
    std::vector<ByteArray> History() const {
        std::vector<ByteArray> pieces;
        const auto position =
            ShellBuffer.begin() + std::clamp<std::ptrdiff_t>(ShellBufferCount, 0, std::ssize(ShellBuffer));
        if (position != ShellBuffer.end() && *position != 0)
            pieces.emplace_back(position, ShellBuffer.end());
        if (position != ShellBuffer.begin() && ShellBuffer.front() != 0)
            pieces.emplace_back(ShellBuffer.begin(), position);
        return pieces;
    }
};
