// From a bus reset notice to the complete node table.
#pragma once

#include <cstdint>

namespace bas1394 {

// The routine of tmrBusReset: nothing while BusResetPending is clear; otherwise enumerates until
// a pass isn't interrupted by a reset. Doesn't nest: a tick during one of its turns returns at once.
void BusResetHandlerThread();
// The routine of tmrIncomingData. Notices wait while an exchange awaits its answer.
void IncomingDataThreadHandler();
void SignalBusReset();
// 1 when no reset interrupted the enumeration, else -1.
[[nodiscard]] std::int32_t BusResetHandler(bool forceRead);
[[nodiscard]] std::int32_t VdevBusResetHandler(bool forceRead);

} // namespace bas1394
