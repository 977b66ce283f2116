// What a record of a bus holds: the calls of an access library, and what the library posted meanwhile.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace recording {

using Bytes = std::vector<std::uint8_t>;

// The numbers are those of the file.
enum class Kind : std::uint8_t {
    About = 1,       // text: lines "name=value" (RecordFormat.h)
    Description = 2, // text: the simulated bus, as JSON
    Notice = 3,      // number
    DebugText = 4,   // text, as the library wrote it
    // Operations of Twl1394api.h.
    RegisterClient = 16,
    DeRegisterClient,
    HookSystemModule,        // text: the module
    SetDebugSpew,            // number: the level
    GetVirtualDeviceList,    // text: a line for each device
    AddVirtualDriver,        // text: the device
    RemoveVirtualDriver,     // text: the device
    Get1394Address,          // number: the node address
    GetLocalHostInformation, // address, size: of the CSR; number: the level; data without the zeros at its end
    BusReset,                // number: the flags
    AllocateAddressRange,    // address, size; number: the handle
    FreeAddressRange,        // number: the handle
    Read,                    // node, address, size, time-out; data if it succeeded
    Write                    // node, address, size, time-out, data
};

struct Entry {
    Kind kind = Kind::About;
    bool isDigest = false;           // data is the digest of what was transferred (Redaction.h)
    std::int64_t start = 0, end = 0; // microseconds since the record began; equal but for operations
    std::int32_t result = 0;         // of an operation
    std::uint32_t node = 0;          // of Read and Write, as are address, size and time-out
    std::uint64_t address = 0;       // 48 bits
    std::uint32_t size = 0;          // bytes
    std::uint32_t timeoutMs = 0;
    std::uint32_t number = 0;
    Bytes data;
    std::string text;

    bool operator==(const Entry&) const = default;
};

inline bool IsOperation(Kind kind) {
    return kind >= Kind::RegisterClient;
}
inline bool IsTransaction(Kind kind) {
    return kind == Kind::Read || kind == Kind::Write;
}
// The name of its function, or "notice", "debug text", "about", "description". Null for a number that has none.
const char* NameOf(Kind kind);

} // namespace recording
