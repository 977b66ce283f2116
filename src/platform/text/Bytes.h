#pragma once

#include <cstdint>
#include <vector>

using ByteArray = std::vector<std::uint8_t>;
