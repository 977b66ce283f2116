// The 104 bytes that identify a target, in the byte order of its protocol.
#pragma once

#include "Behaviour.h"
#include "TargetState.h"

namespace simulator {

class InfoRegisters final : public Behaviour {
public:
    // Both must outlive this object.
    InfoRegisters(const NodeDescription& description, const TargetState& state)
        : description_(description), state_(state) {}

    bool Covers(std::uint64_t address, std::size_t size) const override;
    std::int32_t Read(std::uint64_t address, ByteSpan data) override;

private:
    Bytes Content() const;

    const NodeDescription& description_;
    const TargetState& state_;
};

} // namespace simulator
