// What the simulated bus offers beyond the access library's interface: the caller's clock, a description instead of a
// file, and operations on the cabling. Used by tests and benchmarks, not by the program.
#pragma once

#include <stdint.h>

extern "C" {

// The simulator's time. Without one it runs on CLOCK_MONOTONIC, really sleeps, and posts what falls due from a thread
// of its own.
typedef struct SimulatorClock {
    void* Context;
    // Nanoseconds.
    int64_t (*Now)(void* Context);
    // Lets the time pass; what falls due meanwhile is called during it.
    void (*Sleep)(void* Context, int64_t Nanoseconds);
    // Calls Call(Argument) once the time has reached Due.
    void (*CallAt)(void* Context, int64_t Due, void (*Call)(void* Argument), void* Argument);
} SimulatorClock;

// Null restores the real clock. Call it before SimulatorDescribe and RegisterClient. Calls that the
// clock was asked for remain valid after a new description, but then do nothing.
void SimulatorUseClock(const SimulatorClock* Clock);

// Replaces the whole bus by a description (the JSON of docs/simulated-bus.md; null reads the file that TWL1394_BUS
// names, simulated-bus.json beside the library, or the default bus). Relative paths in it are relative to
// BaseDirectory; null means the library's own directory. All state is discarded, except what is in the
// state directory. Returns 1, or -1 with the reason (file, path in the document, what is wrong) in SimulatorLastError;
// the bus then consists of this computer only, or there is no virtual device: if TWL1394_BUS had named the file, and
// while another process has the state directory.
int32_t SimulatorDescribe(const char* Json, const char* BaseDirectory);
// Reads and checks a description as SimulatorDescribe would, and changes nothing: no bus, no state
// directory, no trace.
int32_t SimulatorCheck(const char* Json, const char* BaseDirectory);
const char* SimulatorLastError(void);
// The JSON of the bus that was described last; "" before the first description. For a record of what happens on it.
const char* SimulatorDescription(void);

// Node is the index in "nodes" of the description, which stays the same when node numbers change.
void SimulatorBusReset(void);
void SimulatorUnplug(uint32_t Node); // later nodes move down, a bus reset follows
void SimulatorPlug(uint32_t Node);   // returns to its place, a bus reset follows
// Reads and writes since SimulatorDescribe.
uint64_t SimulatorTransactions(void);
// A bus reset like that of the fault {"afterTransactions": k, "do": "busReset"}.
void SimulatorResetAfter(uint64_t Transactions);
// Skips Skip transactions and answers the next Count with Result (a code of the library).
void SimulatorFailNext(uint64_t Skip, uint64_t Count, int32_t Result);
// Content of a target: section is "application", "config", "bootloader", "debugger"; returns the
// number of bytes (copies at most Size), -1 if the node has no such section.
int64_t SimulatorSection(uint32_t Node, const char* Section, uint8_t* Data, uint64_t Size);
}
