// How long reads of a node take.
#pragma once

#include "Call.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace cli {

// Names in the record, and shares of the reads that took no longer.
inline constexpr std::array<std::pair<const char*, double>, 6> QUANTILES = {
    {{"min", 0}, {"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"p999", 0.999}, {"max", 1}}};
using Quantiles = std::array<double, QUANTILES.size()>;

// In microseconds, by nearest rank, of at least one time in any order.
Quantiles QuantilesOf(std::vector<std::int64_t> nanoseconds);

// Reads the ROM header, and of a device in its bootloader the info registers, 1000 times each: of the device named, or
// of each node that can be read. Nothing is written. Ends the call unless all nodes answered to the end.
void MeasureLatency(Call& call, const std::string& device);

} // namespace cli
