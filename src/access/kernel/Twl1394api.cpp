// The functions of the library's interface. They check arguments and let no exception out.
#pragma GCC visibility push(default) // the only symbols that the library exports
#include "Twl1394api.h"
#include "KernelCalls.h"
#pragma GCC visibility pop

#include "KernelBus.h"
#include "TopologyMap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

using namespace kernel_bus;

namespace {

constexpr std::int32_t FAILED = -1;
constexpr const char* VIRTUAL_DEVICE = "1394_VIRTUAL_DEVICE";

std::mutex registration;
std::shared_ptr<KernelBus> registered; // between RegisterClient and DeRegisterClient

// An operation keeps it alive until it has ended.
std::shared_ptr<KernelBus> CurrentBus() {
    const std::lock_guard lock(registration);
    return registered;
}

// `operation` on the bus of this client, or FAILED.
template <typename Operation> std::int32_t OfClient(const Twl1394Client* client, Operation operation) {
    try {
        const std::shared_ptr<KernelBus> bus = CurrentBus();
        return bus == nullptr || !bus->BelongsTo(client) ? FAILED : operation(*bus);
    } catch (const std::exception&) {
        return FAILED;
    }
}

template <typename Operation>
std::int32_t OnDevice(const Twl1394Client* client, const char* device, Operation operation) {
    return OfClient(client, [&](KernelBus& bus) {
        const bool isDevice = device != nullptr && std::strcmp(device, VIRTUAL_DEVICE) == 0;
        return isDevice && bus.HasAdapter() ? operation(bus) : FAILED;
    });
}

std::uint64_t Offset(const Twl1394Address& address) {
    return std::uint64_t{address.AddressHigh} << 32 | address.AddressLow;
}

bool IsSize(std::uint32_t size) {
    return size >= 4 && size <= TWL1394_MAX_PAYLOAD && size % 4 == 0;
}

bool IsTransaction(const Twl1394Address* address, std::uint32_t size, const std::uint8_t* data) {
    return address != nullptr && data != nullptr && IsSize(size);
}

std::int32_t CarryRequest(const Request& request) {
    try {
        const std::shared_ptr<KernelBus> bus = CurrentBus();
        return bus == nullptr ? TWL1394_SHUTTING_DOWN : bus->Carry(request);
    } catch (const std::exception&) {
        return TWL1394_NO_RESPONSE;
    }
}

// Beyond the end of the topology map there are zeros. Another register is read as it is.
std::int32_t ReadCsr(KernelBus& bus, Twl1394HostInformation& request) {
    Bytes content;
    int failure = 0;
    if (Offset(request.CsrAddress) == TOPOLOGY_MAP) {
        failure = bus.ReadTopologyMap(content);
        content.resize(std::min<std::size_t>(request.CsrLength, sizeof request.CsrData));
    } else {
        if (!IsSize(request.CsrLength))
            return FAILED;
        content.resize(request.CsrLength);
        failure = bus.ReadLocal(Offset(request.CsrAddress), content);
    }
    if (failure == 0)
        std::ranges::copy(content, request.CsrData);
    return failure;
}

} // namespace

uint32_t Twl1394InterfaceVersion(void) {
    return TWL1394_INTERFACE_VERSION;
}

int32_t RegisterClient(const Twl1394Client* client) {
    const std::lock_guard lock(registration);
    if (client == nullptr || registered != nullptr)
        return FAILED;
    try {
        const char* const choice = std::getenv(TWL1394_BUS_VARIABLE);
        const auto bus = std::make_shared<KernelBus>(CurrentKernelCalls(), *client, choice == nullptr ? "" : choice);
        bus->Start();
        registered = bus;
        return 1;
    } catch (const std::exception&) {
        return FAILED;
    }
}

int32_t DeRegisterClient(const Twl1394Client* client) {
    return OfClient(client, [](KernelBus& bus) {
        {
            const std::lock_guard lock(registration);
            registered.reset();
        }
        bus.Stop();
        return 1;
    });
}

int32_t HookSystemModule(const char* name) {
    return name == nullptr ? FAILED : 1;
}

int32_t SetDebugSpew(const Twl1394Client* client, int32_t level) {
    return OfClient(client, [=](KernelBus& bus) {
        bus.SetDebugLevel(level);
        return 1;
    });
}

int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* list) {
    if (list == nullptr)
        return FAILED;
    std::memset(list, 0, sizeof *list);
    const std::shared_ptr<KernelBus> bus = CurrentBus();
    if (bus != nullptr && bus->HasAdapter()) {
        list->DeviceCount = 1;
        std::strcpy(list->Name[0], VIRTUAL_DEVICE);
    }
    return 1;
}

// There is no driver to be loaded: it looks for an adapter again.
int32_t AddVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return OfClient(client, [=](KernelBus& bus) {
        if (record == nullptr || record->Name == nullptr)
            return FAILED;
        bus.Scan();
        return bus.HasAdapter() ? 0 : FAILED;
    });
}

int32_t RemoveVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t) {
    return OfClient(client, [=](KernelBus&) { return record == nullptr || record->Name == nullptr ? FAILED : 0; });
}

int32_t Get1394AddressFromDeviceObject(const Twl1394Client* client, const char* device,
                                       Twl1394NodeAddressRequest* request) {
    return OnDevice(client, device, [=](KernelBus& bus) {
        if (request == nullptr)
            return FAILED;
        request->NodeAddress = bus.LocalNodeId();
        return std::int32_t{0};
    });
}

int32_t GetLocalHostInformation(const Twl1394Client* client, const char* device, Twl1394HostInformation* request,
                                uint32_t) {
    return OnDevice(client, device, [=](KernelBus& bus) {
        constexpr std::uint32_t readCsr = 6;
        return request == nullptr || request->Level != readCsr ? FAILED : ReadCsr(bus, *request);
    });
}

int32_t BusReset(const Twl1394Client* client, const char* device, uint32_t) {
    return OnDevice(client, device, [](KernelBus& bus) { return bus.ResetBus(); });
}

int32_t AllocateAddressRange(const Twl1394Client* client, const char* device, Twl1394AddressRange* range, uint32_t) {
    return OnDevice(client, device, [=](KernelBus& bus) {
        return range == nullptr ? FAILED
                                : bus.AllocateRange(Offset(range->RequiredOffset), range->Length, range->RangeHandle);
    });
}

int32_t FreeAddressRange(const Twl1394Client* client, const char* device, uint32_t rangeHandle) {
    return OnDevice(client, device, [=](KernelBus& bus) { return bus.FreeRange(rangeHandle); });
}

int32_t AsyncReadWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, uint8_t* data,
                         uint32_t timeoutMs) {
    if (!IsTransaction(address, size, data) || nodeNumber >= TWL1394_BROADCAST_NODE)
        return TWL1394_NO_RESPONSE;
    return CarryRequest({false, nodeNumber, Offset(*address), size, nullptr, data, timeoutMs});
}

int32_t AsyncWriteWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, const uint8_t* data,
                          uint32_t timeoutMs) {
    if (!IsTransaction(address, size, data) || nodeNumber > TWL1394_BROADCAST_NODE)
        return TWL1394_NO_RESPONSE;
    return CarryRequest({true, nodeNumber, Offset(*address), size, data, nullptr, timeoutMs});
}

uint32_t QueryElapsedTimeMsLongInt(const int64_t* counter) {
    return counter == nullptr ? 0 : static_cast<uint32_t>((CurrentKernelCalls().Now() - *counter) / 1'000'000);
}
