// The digest of FIPS 180-4.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace recording {

std::array<std::uint8_t, 32> Sha256(std::span<const std::uint8_t> bytes);

} // namespace recording
