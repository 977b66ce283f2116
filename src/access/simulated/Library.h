// The state of the library and its threading rules: one lock over everything, released only while a transaction takes
// its time; callbacks are called with it held.
#pragma once

#include "Bus.h"
#include "DirectoryLock.h"
#include "SimulatedClock.h"

#include <vector>

namespace simulator {

struct Globals {
    std::mutex mutex;
    const Twl1394Client* client = nullptr;              // between RegisterClient and DeRegisterClient
    int debugLevel = DEBUG_ALWAYS;                      // SetDebugSpew
    std::vector<std::string> undelivered;               // debug text from before the client registered
    std::shared_ptr<Bus> bus;                           // null until described, and if it can't be opened
    std::unique_ptr<DirectoryLock> stateLock;           // of the bus's state directory; null without one
    std::optional<BusDescription> awaited;              // a bus whose state directory another process has
    bool virtualDevice = false;                         // the driver is present
    std::string lastError;                              // SimulatorLastError
    std::string descriptionText;                        // SimulatorDescription
    std::uint64_t lastTicket = 0;                       // never reset: old tickets may still be pending
    std::map<std::uint64_t, std::function<void()>> due; // pending calls, by ticket
    std::unique_ptr<Clock> clock;                       // null until needed; last, so that its thread ends first
};
extern Globals globals;

inline constexpr const char* VIRTUAL_DEVICE = "1394_VIRTUAL_DEVICE";

// All of these are called with the lock held, unless stated otherwise.
Clock& TheClock();
void UseCallersClock(const SimulatorClock* clock); // null: the real one
// json null: the file that TWL1394_BUS names, the one in baseDirectory, or the default bus. baseDirectory null: the
// library's own. False with the reason in lastError; the bus then consists of this computer only, or there is none: if
// the program had named the file, or if another process uses the state directory.
bool Describe(const char* json, const char* baseDirectory);
// Opens a bus whose state directory was in use, if that has ended.
void OpenAwaitedBus();
void CloseBus();
// Only reads and checks.
[[nodiscard]] bool CheckDescription(const char* json, const char* baseDirectory);
void DebugText(int level, const std::string& text);
void DeliverDebugText(); // what was kept for a client
// Runs a whole transaction. Takes the lock itself.
[[nodiscard]] std::int32_t Carry(Transaction& transaction);

} // namespace simulator
