// What the library holds: the library below, its client above, and the record. One lock over the record; it isn't held
// while the library below works, since that may post meanwhile, on any thread.
#pragma once

#include "RecordWriter.h"
#include "Redaction.h"
#include "SimulatedClock.h"
#include "Twl1394api.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace recorder {

// The operations of the library below; all null if it can't be loaded.
struct Below {
    void* module;
    decltype(&::Twl1394InterfaceVersion) InterfaceVersion;
    decltype(&::RegisterClient) RegisterClient;
    decltype(&::DeRegisterClient) DeRegisterClient;
    decltype(&::HookSystemModule) HookSystemModule;
    decltype(&::SetDebugSpew) SetDebugSpew;
    decltype(&::GetVirtualDeviceList) GetVirtualDeviceList;
    decltype(&::AddVirtualDriver) AddVirtualDriver;
    decltype(&::RemoveVirtualDriver) RemoveVirtualDriver;
    decltype(&::Get1394AddressFromDeviceObject) Get1394AddressFromDeviceObject;
    decltype(&::GetLocalHostInformation) GetLocalHostInformation;
    decltype(&::BusReset) BusReset;
    decltype(&::AllocateAddressRange) AllocateAddressRange;
    decltype(&::FreeAddressRange) FreeAddressRange;
    decltype(&::AsyncReadWrapper) AsyncReadWrapper;
    decltype(&::AsyncWriteWrapper) AsyncWriteWrapper;
    decltype(&::QueryElapsedTimeMsLongInt) QueryElapsedTimeMsLongInt;
};

struct Globals {
    std::mutex mutex;                              // over the four that follow
    recording::RecordWriter writer;                // closed before the first client, and once writing has failed
    std::unique_ptr<recording::Redaction> redacts; // null: nothing is replaced
    std::int64_t start = 0;                        // nanoseconds of the clock, when the record began
    std::unique_ptr<simulator::Clock> clock;       // null: the machine's
    Below below{};                                 // as loaded by the last call of Twl1394InterfaceVersion
    std::atomic<const Twl1394Client*> client;      // the program's, between RegisterClient and DeRegisterClient
    Twl1394Client own{};                           // what the library below has in its place
};
extern Globals globals;

// By the variable TWL1394_RECORDED_VARIABLE. False if it can't be loaded or lacks a function.
bool LoadLibrary();
// Begins the record that TWL1394_RECORD_VARIABLE names, unless it has begun.
void BeginRecord();
std::int64_t Now(); // microseconds since the record began
// Fills in the end of the entry and appends it. The first failure is reported in the debug text.
void Note(recording::Entry entry) noexcept;
void NoteDescription() noexcept; // of a simulated bus below

} // namespace recorder
