// What the simulated bus offers beyond the access library's interface: a clock of the caller's,
// a description in place of a file, and the verbs of a hand at the plugs. Tests and the bench
// use it; the program doesn't.
#pragma once

#include <stdint.h>

extern "C" {

// Time as the simulator sees it. Without one it runs on CLOCK_MONOTONIC, sleeps for real, and a
// thread of its own posts what falls due.
typedef struct SimulatorClock {
    void* Context;
    // Nanoseconds.
    int64_t (*Now)(void* Context);
    // Lets the time pass; what falls due meanwhile is called from inside.
    void (*Sleep)(void* Context, int64_t Nanoseconds);
    // Calls Call(Argument) once the time has reached Due.
    void (*CallAt)(void* Context, int64_t Due, void (*Call)(void* Argument), void* Argument);
} SimulatorClock;

// Null goes back to the real clock. Call it before SimulatorDescribe and RegisterClient. What the
// clock was asked to call stays callable after a new description; it then does nothing.
void SimulatorUseClock(const SimulatorClock* Clock);

// Replaces the whole bus by a description (the JSON of docs/simulated-bus.md; null reads
// simulated-bus.json beside the library, or the default bus). BaseDirectory is what relative
// paths in it start from; null means the library's own directory. Everything learned before is
// forgotten, except what lies in the state directory. Returns 1, or -1 with the reason (file,
// path in the document, what is wrong) in SimulatorLastError; then the bus holds this computer
// alone.
int32_t SimulatorDescribe(const char* Json, const char* BaseDirectory);
// Reads and checks a description as SimulatorDescribe would, and leaves everything as it is: no
// bus, no state directory, no trace.
int32_t SimulatorCheck(const char* Json, const char* BaseDirectory);
const char* SimulatorLastError(void);

// Verbs. Node is the index in "nodes" of the description, which stays when numbers move.
void SimulatorBusReset(void);
void SimulatorUnplug(uint32_t Node); // the later nodes move down, a bus reset follows
void SimulatorPlug(uint32_t Node);   // comes back at its place, a bus reset follows
// Transactions (reads and writes) carried since SimulatorDescribe.
uint64_t SimulatorTransactions(void);
// The bus reset of a fault such as {"afterTransactions": k, "do": "busReset"}, set from outside.
void SimulatorResetAfter(uint64_t Transactions);
// Answers the next Count transactions, after Skip more, with Result (a code of the library).
void SimulatorFailNext(uint64_t Skip, uint64_t Count, int32_t Result);
// Content of a target: section is "application", "config", "bootloader", "debugger"; returns the
// number of bytes (copies at most Size), -1 if the node has no such section.
int64_t SimulatorSection(uint32_t Node, const char* Section, uint8_t* Data, uint64_t Size);
}
