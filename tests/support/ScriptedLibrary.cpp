#include "ScriptedLibrary.h"

#include "basUtils.h"

#include <algorithm>

namespace testing_support {

namespace {

ScriptedLibrary* current = nullptr;

std::uint64_t Offset(const Twl1394Address* address) {
    return std::uint64_t{address->AddressHigh} << 32 | address->AddressLow;
}

std::int32_t Note(const std::string& text) {
    current->transactions.push_back(text);
    return current->result ? current->result(current->transactions.size() - 1) : 1;
}

std::int32_t Read(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data,
                  std::uint32_t timeout) {
    if (const std::int32_t code = Note(fmt::format("R{} {:X} {} {}", node, Offset(address), size, timeout)); code != 1)
        return code;
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
    return Note(fmt::format("W{} {:X} {} {}", node, Offset(address), timeout, bytes));
}

} // namespace

ByteArray Quadlets(const std::vector<std::uint32_t>& quadlets) {
    ByteArray bytes(quadlets.size() * 4);
    for (std::size_t i = 0; i < quadlets.size(); ++i)
        basUtils::LongToByteArray(Code(quadlets[i]), bytes, static_cast<std::int32_t>(4 * i), true);
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
    bas1394::library::Operations calls{};
    calls.InterfaceVersion = [] { return std::uint32_t{1}; };
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
        request->NodeAddress = current->nodeAddress;
        return current->hostResult;
    };
    calls.GetLocalHostInformation = [](auto, auto, auto request, auto) {
        std::ranges::copy(current->topologyMap, request->CsrData);
        return 0;
    };
    calls.AllocateAddressRange = [](auto, auto, auto range, auto) {
        current->ranges.push_back(*range);
        range->RangeHandle = static_cast<std::uint32_t>(current->ranges.size());
        return current->rangeResult;
    };
    calls.FreeAddressRange = [](auto, auto, auto handle) {
        current->operations.push_back(fmt::format("FreeAddressRange {}", handle));
        return 0;
    };
    calls.AsyncReadWrapper = Read;
    calls.AsyncWriteWrapper = Write;
    calls.QueryElapsedTimeMsLongInt = [](auto counter) {
        return static_cast<std::uint32_t>((platform::QueryPerformanceCounter() - *counter) / 1'000'000);
    };
    return calls;
}

LibraryTest::LibraryTest() {
    bas1394::globals = {};
    bas1394::hooks = {};
    basApp::hooks.queryElapsedTimeMs = bas1394::QueryElapsedTimeMs;
    basApp::globals.DebugLoggingLevel = 1;
    std::string reason;
    bas1394::library::BindTo(library.Operations(), reason);
    record().Driver = "vdev";
    record().NodeNum = 5;
    record().SelfId.LinkActive = 1;
}

LibraryTest::~LibraryTest() {
    bas1394::library::Unbind();
    bas1394::globals = {};
    bas1394::hooks = {};
}

std::size_t LibraryTest::CountLogged(const std::string& part) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(log, [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

} // namespace testing_support
