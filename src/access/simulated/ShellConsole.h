// The console of a target's firmware: a line editor with a handful of commands, and the memory in
// which its output waits for the host, a ring or a queue by the generation of the protocol.
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
        std::function<std::string()> keys; // a line for each
        std::function<void()> reset;
        std::function<void(std::int64_t milliseconds, std::function<void()> call)> after;
        std::function<void()> outputChanged;
    };
    // What the queue hands over at once, and how it stood.
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
    // Status (how often the ring has been lapped), mask, head and the ring itself.
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
    std::uint32_t life_ = 0; // an end of `sleep` from before a reset is none
    Bytes waiting_;          // the queue
    std::uint32_t lost_ = 0;
    Bytes ring_;
    std::uint16_t head_ = 0; // place of the last character written
    std::uint16_t tail_ = 0; // of the queue
    std::uint32_t laps_ = 0;
};

} // namespace simulator
