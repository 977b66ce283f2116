// For tests: the caller's clock for the times of a record; null: the machine's. Only Now is called.
#pragma once

#include "Simulator.h"

extern "C" void RecorderUseClock(const SimulatorClock* Clock);
