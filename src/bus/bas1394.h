// The 1394 bus: library loading, notices, the node table, asynchronous transactions, address
// ranges. Nothing else calls the access library.
#pragma once

#include "BusChoice.h"
#include "Bytes.h"
#include "Device.h"
#include "Failure.h"
#include "Twl1394api.h"
#include "basApp.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bas1394 {

// A 48-bit offset on a node.
struct Address1394 {
    std::uint16_t AddressHigh = 0;
    std::uint32_t AddressLow = 0;
    bool operator==(const Address1394&) const = default;
};

inline constexpr const char* VIRTUAL_DEVICE = "1394_VIRTUAL_DEVICE"; // the one that is added when there is none

// Result codes of this layer. The library's own codes are in Twl1394api.h.
inline constexpr std::int32_t RESULT_SUCCESS = 1;
inline constexpr std::int32_t RESULT_FAILED = -1;
inline constexpr std::int32_t RESULT_BUS_RESET = -105;
inline constexpr std::int32_t NO_TRANSACTION_PATH = static_cast<std::int32_t>(0xEE000200); // driver "vhpd"

struct TopologyMap {
    std::int32_t MapLength = 0;
    std::int32_t MapCrc = 0;
    std::int32_t Generation = 0;
    std::int16_t NodeCount = 0;
    std::int16_t SelfIdCount = 0;
    std::vector<SelfId> SelfIds = std::vector<SelfId>(1); // never empty
};

struct VirtualDeviceList {
    std::int32_t DeviceCount = 0;
    std::vector<std::string> Names; // at most 10
};

struct Globals {
    // Flags between notices, timers and the enumeration.
    bool BusResetPending = false;     // set by notices, a rescan, Main and the read wrapper
    bool BusEnumerated = false;       // the last enumeration ran to its end, with no reset since
    bool IncomingDataPending = false; // a node wrote into an allocated range
    bool HandlingBusReset = false;    // BusResetHandlerThread is running; it doesn't nest
    std::int32_t DriverErrors = 0;    // error notices so far

    // The node table; never empty. An empty bus is one record with NodeNum 128.
    std::vector<Device> DeviceTable = std::vector<Device>(1);
    Device NullDevice;
    std::vector<Device> HiddenNodes;                // those that the last enumeration left out of the table, as read
    ::bas1394::TopologyMap TopologyMap;             // last map read
    ::bas1394::VirtualDeviceList VirtualDeviceList; // last list read
    std::uint8_t LocalHostNode = 128;               // node number of this computer, 128 during a reset
    std::int32_t BusNumber = 0;                     // last value of GetBusNumber; logged only
    bool VirtualDeviceLoadFailed = false;           // between two calls of GetVirtualDevices
    std::int32_t LastVirtualDeviceCount = 0;
    std::int16_t LastNodeCount = 0;

    // Element 0 with RangeHandle 0 is the free one.
    std::vector<Twl1394AddressRange> AddressRanges = std::vector<Twl1394AddressRange>(1);

    std::string LibraryFile;           // "" for the one of the program directory
    BusChoice Bus;                     // of ChooseBus
    RecordChoice Record;               // of ChooseRecord
    void* LibraryModule = nullptr;     // null when the library isn't loaded
    bool CallbackWindowHooked = false; // notices and debug text are taken
    Twl1394Client Client{};            // what the library was given
};
extern Globals globals;

// What this layer needs from the bootloader layer above it. Filled by program/Program.cpp. What a front end
// is to show or do is called directly, through basApp::CurrentFrontEnd().
struct Hooks {
    std::function<void()> incomingData;               // a target has announced itself
    std::function<std::int32_t()> bootloaderBusReset; // basBootloader::BusResetHandler
    std::function<bool()> discoveryOwed;              // basBootloader::TakeOwedDiscovery: a pass is due now
    std::function<bool()> answerAwaited;              // nothing can go to all nodes now
    std::function<void()> discoveryInterrupted;       // sets DiscoveryInterrupted, clears DiscoveryComplete
    std::function<void()> logTargets;                 // one TRACE line for each target
};
extern Hooks hooks;

// For arguments that are expensive to compute.
inline bool StatusDisplayWanted(std::int32_t level) {
    return !basApp::QuietDuringDownload(level) && basDebug::Wanted(level);
}
template <class... Arguments>
void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    if (StatusDisplayWanted(level))
        basDebug::StatusDisplay(fmt::format(text, std::forward<Arguments>(arguments)...), level, "bas1394");
}

// Logs a failure in `procedure`, which is named as the message shows it.
inline auto LogFailure(const char* procedure) {
    return [procedure](const platform::Failure& f) {
        StatusDisplay(LEVEL_ERROR, "Error #{}: {} in {}", f.Number, f.Description, procedure);
    };
}

// --- Library loading and notices (LibraryLoading.cpp) ---

// Which library is loaded, and what it is told. To be called before it is loaded; without a call it is the library of
// the program directory with its default bus.
void ChooseBus(const BusChoice& choice);
// Everything that passes between the program and the library is recorded. To be called before the library is loaded.
void ChooseRecord(const RecordChoice& choice);
// Loads the library of the program directory and registers Client. Null when it can't be loaded.
// `withCallbacks` false corresponds to a window handle of 0.
[[nodiscard]] void* LoadTwl1394Dll(bool withCallbacks);
void UnloadTwl1394Dll();
// Takes (or stops taking) what the library posts; dispatched at the window system's next turn.
void HookCallbackWindow(bool enable);
// One notice of the library. Numbers other than the five known do nothing.
void CallbackWindowProc(std::uint32_t message);

// The lines of the library's debug text, each ending in CR LF; text after the last line end is lost.
std::vector<std::string> TakeDebugLines(const std::string& boxText);

// --- Transactions (AsyncTransactions.cpp) ---

// Reads `size` bytes (1 to 2048, rounded up to quadlets) into `buffer`, which is replaced; in
// quadlet mode one quadlet at a time, each followed by a turn of the window system, in which the
// node table may change. A negative time-out is the default one. 1, -1, -105, or the library's
// code; then `buffer` holds what had arrived, zeros for the rest. No retries.
[[nodiscard]] std::int32_t AsyncReadWrapperVB(const Device& device, Address1394 address, std::int32_t size,
                                              bool quadletMode, std::int32_t timeout, ByteArray& buffer);
// Writes `buffer`, padded in place with zeros to a quadlet, in one block of at most 2048 bytes.
// 1, -1 or -105.
[[nodiscard]] std::int32_t AsyncWriteWrapperVB(const Device& device, Address1394 address, bool quadletMode,
                                               std::int32_t timeout, ByteArray& buffer);

// --- Addresses and ranges on the host (AddressRanges.cpp) ---

// "0x", "&H" and blanks are removed; digits of a text without "0x" are hexadecimal too. 1, or -1
// when the number has more than 48 bits. A text that isn't a number is reported: failure 14592
// in an unattended run, else a line of the status file.
[[nodiscard]] std::int32_t StringToAddress(const std::string& text, Address1394& address);
[[nodiscard]] std::int32_t Allocate1394Memory(const std::string& addressText, const std::string& sizeText); // 1 or -1
[[nodiscard]] std::int32_t AllocateRange(Twl1394AddressRange& record);                                      // 1 or -1
[[nodiscard]] std::int32_t FreeRange(std::uint32_t rangeHandle);                                            // 1 or -1
void FreeAllRanges();
bool RangeAllocatedAt(Address1394 address);

// --- The node table and the host (bas1394.cpp) ---

// Sizes the node table and the table of ranges to one empty record each.
void PrepareTables();
// A copy of the first record with this driver and node number, or of NullDevice.
Device FindDevice(const std::string& driver, std::int16_t nodeNum);
std::int32_t IndexOfNode(std::int16_t nodeNum);              // in DeviceTable, -1 when it isn't there
SelfId DecodeSelfId(const std::uint8_t packet[4]);           // one self-ID packet, first byte first
std::int32_t GetLocalHostNode();                             // -1 on failure
std::int32_t GetBusNumber();                                 // -1 on failure
std::int32_t AddVirtualDevice(const std::string& name);      // the library's result, 0 on success
std::int32_t RemoveVirtualDevice(const std::string& name);   // the same
std::int32_t GetVirtualDevices();                            // their number
[[nodiscard]] std::int32_t GetTopologyMap(TopologyMap& map); // 1
void ResetBus();
void SetDllMessageLevel(std::int32_t level);
std::int32_t HookSystemModule(const ByteArray& name); // ends in 0; 1 on success
float QueryElapsedTimeMs(std::int64_t counter);       // failure 53 without the library

// "<hi><lo>" as four and eight hex digits.
std::string AddressText(Address1394 address);

} // namespace bas1394
