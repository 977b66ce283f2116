// A node under the 1394 debugger: shortly after the probe's eight bytes it answers once with its own.
#pragma once

#include "Behaviour.h"

#include <functional>
#include <optional>

namespace simulator {

class DebuggerHandshake final : public Behaviour {
public:
    explicit DebuggerHandshake(std::function<std::int64_t()> now) : now_(std::move(now)) {}
    bool Covers(std::uint64_t address, std::size_t size) const override;
    std::int32_t Read(std::uint64_t address, ByteSpan data) override;
    std::int32_t Write(std::uint64_t address, ByteView data) override;

private:
    std::function<std::int64_t()> now_;
    std::optional<std::int64_t> answerDue_;
};

} // namespace simulator
