#include "LibraryCalls.h"

#include "CodePage.h"
#include "Failure.h"
#include "Modules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace bas1394::library {

Globals globals;

namespace {

constexpr std::size_t NAME_SIZE = 33; // of a virtual device, with its terminator
constexpr std::uint32_t READ_CSR = 6; // information level: bytes at a CSR address

const Operations& Loaded() {
    if (!globals.IsBound)
        platform::Raise(platform::FILE_NOT_FOUND, "File not found: Twl1394api.dll");
    return globals.Bound;
}

const Twl1394Client* Client() {
    return &bas1394::globals.Client;
}

// All operations go through the first virtual device.
const char* DeviceName() {
    const auto& names = bas1394::globals.VirtualDeviceList.Names;
    return names.empty() ? "" : names.front().c_str();
}

Twl1394Address Wire(Address1394 address) {
    return {address.AddressHigh, 0, address.AddressLow};
}

std::uint32_t Milliseconds(std::int32_t timeoutMs) {
    return static_cast<std::uint32_t>(std::max(timeoutMs, 0));
}

template <class Function> bool Find(void* module, const char* name, Function& function, std::string& missing) {
    function = reinterpret_cast<Function>(platform::GetProcAddress(module, name));
    if (function == nullptr && missing.empty())
        missing = name;
    return function != nullptr;
}

} // namespace

bool Bind(void* module, std::string& reason) {
    Operations found{};
    std::string missing;
    Find(module, "Twl1394InterfaceVersion", found.InterfaceVersion, missing);
    Find(module, "RegisterClient", found.RegisterClient, missing);
    Find(module, "DeRegisterClient", found.DeRegisterClient, missing);
    Find(module, "HookSystemModule", found.HookSystemModule, missing);
    Find(module, "SetDebugSpew", found.SetDebugSpew, missing);
    Find(module, "GetVirtualDeviceList", found.GetVirtualDeviceList, missing);
    Find(module, "AddVirtualDriver", found.AddVirtualDriver, missing);
    Find(module, "RemoveVirtualDriver", found.RemoveVirtualDriver, missing);
    Find(module, "Get1394AddressFromDeviceObject", found.Get1394AddressFromDeviceObject, missing);
    Find(module, "GetLocalHostInformation", found.GetLocalHostInformation, missing);
    Find(module, "BusReset", found.BusReset, missing);
    Find(module, "AllocateAddressRange", found.AllocateAddressRange, missing);
    Find(module, "FreeAddressRange", found.FreeAddressRange, missing);
    Find(module, "AsyncReadWrapper", found.AsyncReadWrapper, missing);
    Find(module, "AsyncWriteWrapper", found.AsyncWriteWrapper, missing);
    Find(module, "QueryElapsedTimeMsLongInt", found.QueryElapsedTimeMsLongInt, missing);
    if (!missing.empty()) {
        reason = fmt::format("it has no function {}", missing);
        return false;
    }
    return BindTo(found, reason);
}

bool BindTo(const Operations& operations, std::string& reason) {
    const std::uint32_t version = operations.InterfaceVersion();
    if (version != TWL1394_INTERFACE_VERSION) {
        reason =
            fmt::format("it has interface version {}, and version {} is needed", version, TWL1394_INTERFACE_VERSION);
        return false;
    }
    globals = {operations, true};
    return true;
}

void Unbind() {
    globals = {};
}

std::int32_t RegisterClient() {
    return Loaded().RegisterClient(Client());
}
void DeRegisterClient() {
    Loaded().DeRegisterClient(Client());
}
std::int32_t HookSystemModule(const char* name) {
    return Loaded().HookSystemModule(name);
}
void SetDebugSpew(std::int32_t level) {
    Loaded().SetDebugSpew(Client(), level);
}

VirtualDeviceList GetVirtualDeviceList() {
    Twl1394VirtualDeviceList wire{};
    Loaded().GetVirtualDeviceList(&wire);
    VirtualDeviceList list;
    list.DeviceCount = std::clamp(static_cast<std::int32_t>(wire.DeviceCount), 0, TWL1394_MAX_VIRTUAL_DEVICES);
    for (std::int32_t i = 0; i < list.DeviceCount; ++i)
        list.Names.emplace_back(wire.Name[i], strnlen(wire.Name[i], sizeof wire.Name[i]));
    return list;
}

namespace {

std::int32_t CallWithDevice(std::int32_t (*operation)(const Twl1394Client*, const Twl1394VirtualDevice*, std::uint32_t),
                            const std::string& name) {
    char buffer[NAME_SIZE] = {};
    const ByteArray bytes = platform::AnsiFromText(name);
    std::memcpy(buffer, bytes.data(), std::min(bytes.size(), NAME_SIZE - 1));
    const Twl1394VirtualDevice record{0, 0, 0, buffer};
    return operation(Client(), &record, 0);
}

} // namespace

std::int32_t AddVirtualDriver(const std::string& name) {
    return CallWithDevice(Loaded().AddVirtualDriver, name);
}
std::int32_t RemoveVirtualDriver(const std::string& name) {
    return CallWithDevice(Loaded().RemoveVirtualDriver, name);
}

std::int32_t Get1394Address(std::uint16_t& nodeAddress) {
    Twl1394NodeAddressRequest request{1, 0};
    const std::int32_t code = Loaded().Get1394AddressFromDeviceObject(Client(), DeviceName(), &request);
    nodeAddress = request.NodeAddress;
    return code;
}

ByteArray GetLocalHostInformation(Address1394 csrAddress, std::uint32_t length) {
    Twl1394HostInformation request{};
    length = std::min<std::uint32_t>(length, sizeof request.CsrData);
    request.Level = READ_CSR;
    request.BufferSize = sizeof request.CsrData;
    request.CsrAddress = Wire(csrAddress);
    request.CsrLength = length;
    Loaded().GetLocalHostInformation(Client(), DeviceName(), &request, 0);
    return ByteArray(request.CsrData, request.CsrData + length);
}

void BusReset() {
    Loaded().BusReset(Client(), DeviceName(), 0);
}

std::int32_t AllocateAddressRange(Twl1394AddressRange& range) {
    return Loaded().AllocateAddressRange(Client(), DeviceName(), &range, 0);
}

std::int32_t FreeAddressRange(std::uint32_t rangeHandle) {
    return Loaded().FreeAddressRange(Client(), DeviceName(), rangeHandle);
}

std::int32_t AsyncRead(std::int16_t node, Address1394 address, std::uint8_t* data, std::uint32_t size,
                       std::int32_t timeoutMs) {
    const Twl1394Address wire = Wire(address);
    return Loaded().AsyncReadWrapper(static_cast<std::uint32_t>(node), &wire, size, data, Milliseconds(timeoutMs));
}

std::int32_t AsyncWrite(std::int16_t node, Address1394 address, const std::uint8_t* data, std::uint32_t size,
                        std::int32_t timeoutMs) {
    const Twl1394Address wire = Wire(address);
    return Loaded().AsyncWriteWrapper(static_cast<std::uint32_t>(node), &wire, size, data, Milliseconds(timeoutMs));
}

std::uint32_t ElapsedMs(std::int64_t counter) {
    return Loaded().QueryElapsedTimeMsLongInt(&counter);
}

} // namespace bas1394::library
