// The one file pair that knows the functions of the loaded library. Each call raises failure 53
// "File not found: Twl1394api.dll" when the library isn't loaded.
#pragma once

#include "Twl1394api.h"
#include "bas1394.h"

namespace bas1394::library {

// The operations of Twl1394api.h by their names.
struct Operations {
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

// What is bound. The client and the device names that the calls pass are bas1394's.
struct Globals {
    Operations Bound{}; // all null while nothing is
    bool IsBound = false;
};
extern Globals globals;

// Finds every operation in the loaded module and checks the interface version. False, with the
// reason, when one is missing or the version isn't ours.
bool Bind(void* module, std::string& reason);
// The same for operations that are at hand: a library linked in, or a scripted one.
bool BindTo(const Operations& operations, std::string& reason);
void Unbind();

std::int32_t RegisterClient();
void DeRegisterClient();
std::int32_t HookSystemModule(const char* name);
void SetDebugSpew(std::int32_t level);
VirtualDeviceList GetVirtualDeviceList();
std::int32_t AddVirtualDriver(const std::string& name);
std::int32_t RemoveVirtualDriver(const std::string& name);
// 0 on success; nodeAddress holds bus and node number.
std::int32_t Get1394Address(std::uint16_t& nodeAddress);
// The bytes at a CSR address of the local node (information level 6).
ByteArray GetLocalHostInformation(Address1394 csrAddress, std::uint32_t length);
void BusReset();
std::int32_t AllocateAddressRange(Twl1394AddressRange& range); // 0 on success
std::int32_t FreeAddressRange(std::uint32_t rangeHandle);      // 0 on success
std::int32_t AsyncRead(std::int16_t node, Address1394 address, std::uint8_t* data, std::uint32_t size,
                       std::int32_t timeoutMs);
std::int32_t AsyncWrite(std::int16_t node, Address1394 address, const std::uint8_t* data, std::uint32_t size,
                        std::int32_t timeoutMs);
std::uint32_t ElapsedMs(std::int64_t counter);

} // namespace bas1394::library
