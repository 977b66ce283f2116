#include "ScriptedLibrary.h"

#include "basUtils.h"

#include <algorithm>

namespace testing_support {

namespace {

constexpr std::uint64_t ROM = 0xFFFFF0000400;

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
    const std::int32_t code = Note(fmt::format("R{} {:X} {} {}", node, Offset(address), size, timeout));
    if (code != 1)
        return code;
    const auto rom = current->roms.find(node);
    const std::uint64_t start = Offset(address) - ROM;
    if (rom == current->roms.end() || start >= rom->second.size() || rom->second.size() - start < size)
        return TWL1394_ADDRESS_ERROR;
    std::copy_n(rom->second.begin() + static_cast<std::ptrdiff_t>(start), size, data);
    return 1;
}

std::int32_t Write(std::uint32_t node, const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data,
                   std::uint32_t timeout) {
    return Note(fmt::format("W{} {:X} {} {}", node, Offset(address), timeout,
                            basUtils::ByteArrayToHexString(data, size, 4)));
}

void Operation(const std::string& text) {
    current->operations.push_back(text);
}

} // namespace

ByteArray Quadlets(const std::vector<std::uint32_t>& quadlets) {
    ByteArray bytes(quadlets.size() * 4);
    for (std::size_t i = 0; i < quadlets.size(); ++i)
        basUtils::LongToByteArray(Code(quadlets[i]), bytes, static_cast<std::int32_t>(4 * i), true);
    return bytes;
}

void ScriptedLibrary::SetTopology(const std::vector<std::uint32_t>& selfIds, int count) {
    topologyMap.assign(1024, 0);
    const std::size_t told = count < 0 ? selfIds.size() : static_cast<std::size_t>(count);
    topologyMap[10] = static_cast<std::uint8_t>(told);
    topologyMap[11] = static_cast<std::uint8_t>(told >> 8);
    std::ranges::copy(Quadlets(selfIds), topologyMap.begin() + 12);
}

void ScriptedLibrary::SetNodes(std::size_t count) {
    SetTopology(std::vector<std::uint32_t>(count, 0x807F0000));
    nodeAddress = static_cast<std::uint16_t>(0xFFC0 | (count - 1));
}

bas1394::library::Operations ScriptedLibrary::Operations() {
    current = this;
    bas1394::library::Operations calls{};
    calls.InterfaceVersion = [] { return std::uint32_t{1}; };
    calls.DeRegisterClient = [](auto) { return Operation("DeRegisterClient"), 1; };
    calls.BusReset = [](auto, const char* device, std::uint32_t flags) {
        return Operation(fmt::format("BusReset {} {}", device, flags)), 0;
    };
    calls.GetVirtualDeviceList = [](Twl1394VirtualDeviceList* list) {
        list->DeviceCount = current->deviceCount;
        for (auto& name : list->Name)
            fmt::format_to_n(name, sizeof name, "device\\{}", &name - list->Name);
        return 1;
    };
    calls.AddVirtualDriver = [](auto, const Twl1394VirtualDevice* device, auto) {
        Operation(fmt::format("AddVirtualDriver {}", device->Name));
        if (current->onAddVirtualDriver)
            current->onAddVirtualDriver();
        return 0;
    };
    calls.Get1394AddressFromDeviceObject = [](auto, auto, Twl1394NodeAddressRequest* request) {
        request->NodeAddress = current->nodeAddress;
        return current->hostResult;
    };
    calls.GetLocalHostInformation = [](auto, auto, Twl1394HostInformation* request, auto) {
        std::ranges::copy(current->topologyMap, request->CsrData);
        return 0;
    };
    calls.AllocateAddressRange = [](auto, auto, Twl1394AddressRange* range, auto) {
        current->ranges.push_back(*range);
        range->RangeHandle = static_cast<std::uint32_t>(current->ranges.size());
        return current->rangeResult;
    };
    calls.FreeAddressRange = [](auto, auto, std::uint32_t handle) {
        return Operation(fmt::format("FreeAddressRange {}", handle)), 0;
    };
    calls.AsyncReadWrapper = Read;
    calls.AsyncWriteWrapper = Write;
    calls.QueryElapsedTimeMsLongInt = [](const std::int64_t* counter) {
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

bool LibraryTest::Logged(const std::string& line) const {
    return std::ranges::find(log, line) != log.end();
}

std::size_t LibraryTest::CountLogged(const std::string& part) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        log, [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

} // namespace testing_support
