// The request and response areas of a target: memory where the host writes commands and reads
// answers, each followed directly by its bulk buffer.
#pragma once

#include "Behaviour.h"
#include "MemoryMap.h"

#include <array>
#include <functional>
#include <optional>

namespace simulator {

struct Request {
    std::uint32_t version = 0;
    std::uint16_t id = 0;
    std::uint8_t code = 0;
    std::uint8_t count = 0; // operand quadlets announced
    ByteView operands;      // all bytes of the write after the header
};

struct Answer {
    Bytes operands;                   // whole quadlets, 8 at most
    std::int64_t workNanoseconds = 0; // how long the target ignores its request area
};

class Session final : public Behaviour {
public:
    struct Hooks {
        std::function<std::int64_t()> now;
        std::function<std::optional<Answer>(const Request&)> execute; // empty: no answer
        std::function<void(ByteView)> requestBufferWritten;
        std::function<void(const Request&)> ignoredWhileBusy;
    };
    Session(std::int64_t answerNanoseconds, Hooks hooks)
        : answerNanoseconds_(answerNanoseconds), hooks_(std::move(hooks)) {}

    bool Covers(std::uint64_t address, std::size_t size) const override;
    std::int32_t Read(std::uint64_t address, ByteSpan data) override;
    std::int32_t Write(std::uint64_t address, ByteView data) override;
    // A broadcast request: executed, never answered.
    void Broadcast(std::uint64_t address, ByteView data);

    ByteView RequestBuffer() const { return ByteView(request_).subspan(QUADLETS_SIZE); }
    ByteSpan ResponseBuffer() { return ByteSpan(response_).subspan(QUADLETS_SIZE); }
    // To the state after power-up.
    void Clear();

private:
    struct Pending {
        std::array<std::uint8_t, QUADLETS_SIZE> quadlets;
        std::int64_t due;
    };
    void Execute(const Request& request);
    void PublishDueAnswer();

    std::int64_t answerNanoseconds_;
    Hooks hooks_;
    std::array<std::uint8_t, AREA_SIZE> request_{}, response_{};
    std::optional<Pending> pending_;
    std::int64_t busyUntil_ = 0;
};

} // namespace simulator
