// The functions of the library's interface. They check arguments, take the lock and let no exception out.
#pragma GCC visibility push(default) // the only symbols that the library exports
#include "Twl1394api.h"
#pragma GCC visibility pop

#include "Library.h"
#include "MemoryMap.h"

#include <algorithm>
#include <cstring>
#include <exception>

using namespace simulator;

static constexpr int32_t FAILED = -1;

static bool IsClient(const Twl1394Client* client) {
    return client != nullptr && client == globals.client;
}

static bool IsDevice(const char* device) {
    return globals.virtualDevice && device != nullptr && std::strcmp(device, VIRTUAL_DEVICE) == 0;
}

// Operations on the bus share these conditions: a described bus, our client, our device.
template <typename Operation>
static int32_t OnBus(const Twl1394Client* client, const char* device, Operation operation) {
    const std::lock_guard lock(globals.mutex);
    if (!IsClient(client) || !IsDevice(device) || globals.bus == nullptr)
        return FAILED;
    try {
        return operation(*globals.bus);
    } catch (const std::exception& failure) {
        DebugText(DEBUG_ALWAYS, failure.what());
        return FAILED;
    }
}

static uint64_t Offset(const Twl1394Address& address) {
    return uint64_t{address.AddressHigh} << 32 | address.AddressLow;
}

static bool IsTransaction(const Twl1394Address* address, uint32_t size, const uint8_t* data) {
    return address != nullptr && data != nullptr && size >= 4 && size <= TWL1394_MAX_PAYLOAD && size % 4 == 0;
}

uint32_t Twl1394InterfaceVersion(void) {
    return TWL1394_INTERFACE_VERSION;
}

int32_t RegisterClient(const Twl1394Client* client) {
    const std::lock_guard lock(globals.mutex);
    if (client == nullptr || globals.client != nullptr)
        return FAILED;
    try {
        globals.client = client;
        DeliverDebugText();
        if (globals.bus == nullptr)
            Describe(nullptr, nullptr);
        TheClock().Run();
        return 1;
    } catch (const std::exception& failure) {
        DebugText(DEBUG_ALWAYS, failure.what());
        globals.client = nullptr;
        return FAILED;
    }
}

int32_t DeRegisterClient(const Twl1394Client* client) {
    {
        const std::lock_guard lock(globals.mutex);
        if (!IsClient(client))
            return FAILED;
        globals.client = nullptr;
        globals.debugLevel = DEBUG_ALWAYS;
        if (globals.bus != nullptr)
            globals.bus->FreeRanges();
    }
    TheClock().Stop(); // without the lock, which the clock's thread may be waiting for
    return 1;
}

int32_t HookSystemModule(const char* name) {
    return name == nullptr ? FAILED : 1;
}

int32_t SetDebugSpew(const Twl1394Client* client, int32_t level) {
    const std::lock_guard lock(globals.mutex);
    if (!IsClient(client))
        return FAILED;
    globals.debugLevel = level;
    return 1;
}

int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* list) {
    const std::lock_guard lock(globals.mutex);
    if (list == nullptr)
        return FAILED;
    std::memset(list, 0, sizeof *list);
    try {
        OpenAwaitedBus();
    } catch (const std::exception& failure) {
        DebugText(DEBUG_ALWAYS, failure.what());
    }
    if (globals.virtualDevice) {
        list->DeviceCount = 1;
        std::strcpy(list->Name[0], VIRTUAL_DEVICE);
    }
    return 1;
}

static int32_t SetVirtualDevice(const Twl1394Client* client, const Twl1394VirtualDevice* record, bool present) {
    const std::lock_guard lock(globals.mutex);
    if (!IsClient(client) || record == nullptr || record->Name == nullptr ||
        std::strcmp(record->Name, VIRTUAL_DEVICE) != 0 || globals.bus == nullptr)
        return FAILED;
    globals.virtualDevice = present;
    return 0;
}

int32_t AddVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return SetVirtualDevice(client, record, true);
}

int32_t RemoveVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return SetVirtualDevice(client, record, false);
}

int32_t Get1394AddressFromDeviceObject(const Twl1394Client* client, const char* device,
                                       Twl1394NodeAddressRequest* request) {
    return OnBus(client, device, [request](const Bus& bus) {
        constexpr uint32_t localBus = 0x3FF; // IEEE 1394-1995: the local bus
        if (request == nullptr)
            return FAILED;
        request->NodeAddress = static_cast<uint16_t>(localBus << 6 | bus.HostNumber());
        return int32_t{0};
    });
}

int32_t GetLocalHostInformation(const Twl1394Client* client, const char* device, Twl1394HostInformation* request,
                                uint32_t) {
    return OnBus(client, device, [request](const Bus& bus) {
        constexpr uint32_t readCsr = 6;
        if (request == nullptr || request->Level != readCsr || Offset(request->CsrAddress) != TOPOLOGY_MAP)
            return FAILED;
        const Bytes map = bus.Topology();
        const std::size_t room = std::min<std::size_t>(request->CsrLength, sizeof request->CsrData);
        std::memset(request->CsrData, 0, room);
        std::copy_n(map.begin(), std::min(room, map.size()), request->CsrData);
        return int32_t{0};
    });
}

int32_t BusReset(const Twl1394Client* client, const char* device, uint32_t) {
    return OnBus(client, device, [](Bus& bus) {
        bus.Reset();
        return int32_t{0};
    });
}

int32_t AllocateAddressRange(const Twl1394Client* client, const char* device, Twl1394AddressRange* range, uint32_t) {
    return OnBus(client, device, [range](Bus& bus) {
        const uint32_t handle = range == nullptr ? 0 : bus.AllocateRange(Offset(range->RequiredOffset), range->Length);
        if (handle == 0)
            return FAILED;
        range->RangeHandle = handle;
        return int32_t{0};
    });
}

int32_t FreeAddressRange(const Twl1394Client* client, const char* device, uint32_t rangeHandle) {
    return OnBus(client, device, [rangeHandle](Bus& bus) { return bus.FreeRange(rangeHandle) ? 0 : FAILED; });
}

int32_t AsyncReadWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, uint8_t* data,
                         uint32_t timeoutMs) {
    if (!IsTransaction(address, size, data) || nodeNumber >= TWL1394_BROADCAST_NODE)
        return TWL1394_NO_RESPONSE;
    try {
        Transaction transaction{false, nodeNumber, Offset(*address), timeoutMs, Bytes(size, 0)};
        const int32_t result = Carry(transaction);
        if (result == TWL1394_SUCCESS)
            std::copy(transaction.data.begin(), transaction.data.end(), data);
        return result;
    } catch (const std::exception&) {
        return TWL1394_NO_RESPONSE;
    }
}

int32_t AsyncWriteWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, const uint8_t* data,
                          uint32_t timeoutMs) {
    if (!IsTransaction(address, size, data) || nodeNumber > TWL1394_BROADCAST_NODE)
        return TWL1394_NO_RESPONSE;
    try {
        Transaction transaction{true, nodeNumber, Offset(*address), timeoutMs, Bytes(data, data + size)};
        return Carry(transaction);
    } catch (const std::exception&) {
        return TWL1394_NO_RESPONSE;
    }
}

uint32_t QueryElapsedTimeMsLongInt(const int64_t* counter) {
    // Called for every message, so without the lock: the clock is set before the program's first call.
    const int64_t now = globals.clock == nullptr ? MonotonicNow() : globals.clock->Now();
    return counter == nullptr ? 0 : static_cast<uint32_t>((now - *counter) / MILLISECOND);
}
