// The console of a target's firmware: a line editor with a few commands, and the memory that holds its output for the
// host, a ring or a queue depending on the protocol's generation.
#pragma once

#include "WireBytes.h"

#include <functional>
#include <string>

namespace simulator {

class ShellConsole {
public:
    struct Settings {
        std::string banner;
        std::uint32_t ring = 256; // characters kept, a power of two
        bool isRing = false;      // protocols 2 and 0x2000000
        ByteOrder order = ByteOrder::Little;
    };
    struct Hooks {
        std::function<std::string()> version;
        std::function<std::string()> keys; // one line each
        std::function<void()> reset;
        std::function<void(std::int64_t milliseconds, std::function<void()> call)> after;
        std::function<void()> outputChanged;
    };
    // What the queue hands over at once, and its state before.
    struct Taken {
        Bytes characters;
        std::uint32_t lost = 0; // characters dropped since the last time
        std::uint16_t head = 0, tail = 0, written = 0;
    };

    ShellConsole(Settings settings, Hooks hooks) : settings_(std::move(settings)), hooks_(std::move(hooks)) {}

    void PowerUp(); // banner and prompt
    void Prompt();
    void Input(ByteView typed);
    Taken Take(std::size_t atMost);
    // Status (how often the ring has wrapped), mask, head and the ring itself.
    void RenderRing(ByteSpan responseBuffer) const;
    bool IsRing() const { return settings_.isRing; }
    std::uint32_t Capacity() const { return settings_.ring; }

private:
    void Type(std::uint8_t character);
    void RunLine();
    void Pause(std::int64_t milliseconds);
    void Print(const std::string& text);
    void Put(char character);

    Settings settings_;
    Hooks hooks_;
    std::string line_;
    Bytes typedAhead_; // while a command runs
    bool running_ = false;
    std::uint32_t life_ = 0; // so that the end of a `sleep` from before a reset is ignored
    Bytes waiting_;          // the queue
    std::uint32_t lost_ = 0;
    Bytes ring_;
    std::uint16_t head_ = 0; // position of the last character written
    std::uint16_t tail_ = 0; // of the queue
    std::uint32_t laps_ = 0;
};

} // namespace simulator
