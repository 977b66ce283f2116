// What a target's console has printed so far, as far back as it is kept, for a terminal that is
// opened later.
#pragma once

#include "Bytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

inline constexpr std::size_t SHELL_BUFFER_SIZE = 16534;

// A circular store. Unused places hold 0, which is how a store that has wrapped is told from one
// that hasn't; a character 0 is therefore kept as a blank.
struct ShellStore {
    ByteArray ShellBuffer;             // SHELL_BUFFER_SIZE bytes once created
    std::int32_t ShellBufferCount = 0; // place of the next character

    void Create() { ShellBuffer.resize(SHELL_BUFFER_SIZE); }

    void Append(const ByteArray& characters) {
        Create();
        for (const std::uint8_t character : characters) {
            ShellBuffer[static_cast<std::size_t>(ShellBufferCount)] = character == 0 ? ' ' : character;
            if (++ShellBufferCount == static_cast<std::int32_t>(SHELL_BUFFER_SIZE))
                ShellBufferCount = 0;
        }
    }

    // The pieces to show, oldest first: none, one or two.
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
