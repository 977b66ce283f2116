// An access library whose answers a test defines, and which records its calls.
#pragma once

#include "AppTest.h"
#include "LibrarySeam.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

using Texts = std::vector<std::string>;

// The bytes of each quadlet: big-endian, as in a ROM or a self-ID packet, or little-endian, as in a target's operands.
ByteArray Quadlets(const std::vector<std::uint32_t>& quadlets, bool bigEndian = true);
constexpr std::int32_t Code(std::uint32_t code) {
    return static_cast<std::int32_t>(code);
}
constexpr std::int32_t SILENCE = TWL1394_NODE_DID_NOT_RESPOND;

struct ScriptedLibrary {
    std::map<std::uint32_t, ByteArray> roms;           // by node number, from 0xFFFFF0000400; nothing else answers
    std::function<std::int32_t(std::size_t k)> result; // of transaction k from 0; 1 lets it happen
    // What transactions other than ROM reads do. Without them a read isn't answered and every write succeeds.
    std::function<std::int32_t(std::uint32_t node, std::uint64_t address, std::uint8_t* data, std::size_t size)> read;
    std::function<std::int32_t(std::uint32_t node, std::uint64_t address, const ByteArray& bytes)> write;
    std::uint32_t deviceCount = 1; // virtual devices; AddVirtualDriver adds one
    std::int32_t rangeResult = 0;  // of AllocateAddressRange
    std::int32_t hostResult = 0;   // of Get1394AddressFromDeviceObject
    std::uint16_t nodeAddress = 0;
    ByteArray topologyMap = ByteArray(1024);
    Texts transactions; // "R<node> <address> <size> <time-out>", "W<node> <address> <time-out> <hex>"
    Texts operations;   // other calls that change the library's state
    std::vector<Twl1394AddressRange> ranges; // as requested

    void SetTopology(const std::vector<std::uint32_t>& selfIds, std::size_t count);
    bas1394::library::Operations Operations();
};

// A fresh program with the scripted library loaded. Node 5 is record 0 of the node table.
class LibraryTest : public AppTest {
protected:
    LibraryTest();
    ~LibraryTest() override;
    Device& record() { return bas1394::globals.DeviceTable[0]; }
    ScriptedLibrary library;
};

} // namespace testing_support
