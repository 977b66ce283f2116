// The machine's time of day.
#pragma once

#include <string>

namespace recorder {

std::string MachineTime(); // UTC, "2026-11-25T20:15:00Z"

} // namespace recorder
