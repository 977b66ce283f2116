// From a bus reset notice to a finished node table.
#pragma once

#include <cstdint>

namespace bas1394 {

// The routine of tmrBusReset: nothing while BusResetPending is clear; otherwise enumerates until
// a pass ends with no reset behind it. Doesn't nest: a tick during a turn inside it returns.
void BusResetHandlerThread();
// The routine of tmrIncomingData. A notice waits while an exchange awaits its answer.
void IncomingDataThreadHandler();
void SignalBusReset();
// 1 when the enumeration ended with no reset behind it, else -1.
std::int32_t BusResetHandler(bool forceRead);
std::int32_t VdevBusResetHandler(bool forceRead);

} // namespace bas1394
