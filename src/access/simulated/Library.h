// The state of the library and the rules of its threads: one lock over everything, given up only
// while a transaction takes its time; callbacks are made under it.
#pragma once

#include "Bus.h"
#include "SimulatedClock.h"

#include <vector>

namespace simulator {

struct Globals {
    std::mutex mutex;
    const Twl1394Client* client = nullptr;              // between RegisterClient and DeRegisterClient
    int debugLevel = DEBUG_ALWAYS;                      // SetDebugSpew
    std::vector<std::string> undelivered;               // debug text from before the client
    std::shared_ptr<Bus> bus;                           // null until described
    bool virtualDevice = false;                         // the driver is there
    std::string lastError;                              // SimulatorLastError
    std::uint64_t lastTicket = 0;                       // never starts over: old tickets may still be out
    std::map<std::uint64_t, std::function<void()>> due; // what is to happen, by ticket
    std::unique_ptr<Clock> clock;                       // null until it is needed; last, so that its thread ends first
};
extern Globals globals;

inline constexpr const char* VIRTUAL_DEVICE = "1394_VIRTUAL_DEVICE";

// Of all of these: called with the lock held, unless told otherwise.
Clock& TheClock();
void UseCallersClock(const SimulatorClock* clock); // null: the real one
// json null: the file beside the library, or the default bus. baseDirectory null: the library's
// own. False with the reason in lastError; the bus then holds this computer alone.
bool Describe(const char* json, const char* baseDirectory);
// The same reading and checking, nothing else.
bool CheckDescription(const char* json, const char* baseDirectory);
void DebugText(int level, const std::string& text);
void DeliverDebugText(); // what has waited for a client
// Carries a whole transaction. Takes the lock itself.
std::int32_t Carry(Transaction& transaction);

} // namespace simulator
