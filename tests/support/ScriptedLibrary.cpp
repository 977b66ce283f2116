#include "ScriptedLibrary.h"

#include "basUtils.h"

#include <algorithm>

namespace testing_support {

namespace {

ScriptedLibrary* current = nullptr;

std::int32_t Note(const std::string& text) {
    current->transactions.push_back(text);
    return current->result ? current->result(current->transactions.size() - 1) : 1;
}

std::int32_t Read(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data,
                  std::uint32_t timeout) {
    if (const std::int32_t code = Note(fmt::format("R{} {:X} {} {}", node, Offset(address), size, timeout)); code != 1)
        return code;
    if (current->read)
        return current->read(node, Offset(address), data, size);
    const ByteArray& rom = current->roms[node];
    const std::uint64_t start = Offset(address) - 0xFFFFF0000400;
    if (start >= rom.size() || rom.size() - start < size)
        return TWL1394_ADDRESS_ERROR;
    std::copy_n(&rom[start], size, data);
    return 1;
}

std::int32_t Write(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data,
                   std::uint32_t timeout) {
    const std::string bytes = basUtils::ByteArrayToHexString(data, size, 4);
    const std::int32_t code = Note(fmt::format("W{} {:X} {} {}", node, Offset(address), timeout, bytes));
    return code == 1 && current->write ? current->write(node, Offset(address), {data, data + size}) : code;
}

} // namespace

ByteArray Quadlets(const std::vector<std::uint32_t>& quadlets, bool bigEndian) {
    ByteArray bytes(quadlets.size() * 4);
    for (std::size_t i = 0; i < quadlets.size(); ++i)
        basUtils::LongToByteArray(Code(quadlets[i]), bytes, static_cast<std::int32_t>(4 * i), bigEndian);
    return bytes;
}

void ScriptedLibrary::SetTopology(const std::vector<std::uint32_t>& selfIds, std::size_t count) {
    topologyMap.assign(1024, 0);
    topologyMap[10] = static_cast<std::uint8_t>(count);
    topologyMap[11] = static_cast<std::uint8_t>(count >> 8);
    std::ranges::copy(Quadlets(selfIds), topologyMap.begin() + 12);
}

bas1394::library::Operations ScriptedLibrary::Operations() {
    current = this;
    bas1394::library::Operations calls = Transactions(Read, Write);
    calls.DeRegisterClient = [](auto) { return current->operations.push_back("DeRegisterClient"), 1; };
    calls.GetVirtualDeviceList = [](auto list) {
        list->DeviceCount = current->deviceCount;
        std::ranges::copy("device", list->Name[0]);
        return 1;
    };
    calls.AddVirtualDriver = [](auto, auto device, auto) {
        current->operations.push_back(fmt::format("AddVirtualDriver {}", device->Name));
        current->deviceCount = 1;
        return 0;
    };
    calls.Get1394AddressFromDeviceObject = [](auto, auto, auto request) {
        return request->NodeAddress = current->nodeAddress, current->hostResult;
    };
    calls.GetLocalHostInformation = [](auto, auto, auto request, auto) {
        return std::ranges::copy(current->topologyMap, request->CsrData), 0;
    };
    calls.AllocateAddressRange = [](auto, auto, auto range, auto) {
        current->ranges.push_back(*range);
        range->RangeHandle = static_cast<std::uint32_t>(current->ranges.size());
        return current->rangeResult;
    };
    calls.FreeAddressRange = [](auto, auto, auto handle) {
        return current->operations.push_back(fmt::format("FreeAddressRange {}", handle)), 0;
    };
    return calls;
}

LibraryTest::LibraryTest() {
    bas1394::globals = {};
    bas1394::hooks = {};
    basApp::globals.DebugLoggingLevel = 1;
    BindLibrary(library.Operations());
    MakePresent(record(), 5);
}

LibraryTest::~LibraryTest() {
    bas1394::library::Unbind();
}

} // namespace testing_support
