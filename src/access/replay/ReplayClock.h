// For tests: the caller's clock for a replay; null: the machine's.
#pragma once

#include "Simulator.h"

extern "C" void ReplayUseClock(const SimulatorClock* Clock);
