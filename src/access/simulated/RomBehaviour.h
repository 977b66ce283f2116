// A configuration ROM: readable at its addresses, an address error beyond its end.
#pragma once

#include "Behaviour.h"

namespace simulator {

class RomBehaviour final : public Behaviour {
public:
    explicit RomBehaviour(Bytes image) : image_(std::move(image)) {}
    void Replace(Bytes image) { image_ = std::move(image); }

    bool Covers(std::uint64_t address, std::size_t size) const override;
    std::int32_t Read(std::uint64_t address, ByteSpan data) override;

private:
    Bytes image_;
};

} // namespace simulator
