// A node under the 1394 debugger: after the probe's eight bytes it answers with its own.
#pragma once

#include "Behaviour.h"

namespace simulator {

class DebuggerHandshake final : public Behaviour {
public:
    bool Covers(std::uint64_t address, std::size_t size) const override;
    std::int32_t Read(std::uint64_t address, ByteSpan data) override;
    std::int32_t Write(std::uint64_t address, ByteView data) override;

private:
    bool probed_ = false;
};

} // namespace simulator
