// Each operation goes to the library below, and is noted with its result once it is done.
#pragma GCC visibility push(default) // the only symbols that the library exports
#include "Twl1394api.h"
#include "RecorderClock.h"
#pragma GCC visibility pop

#include "Recorder.h"

#include <algorithm>
#include <cstring>

using namespace recorder;
using recording::Entry;
using recording::Kind;

static constexpr int32_t FAILED = -1;

static void PostNotice(void*, uint32_t number) {
    Entry entry;
    entry.kind = Kind::Notice;
    entry.number = number;
    Note(std::move(entry));
    if (const Twl1394Client* client = globals.client)
        client->PostNotice(client->Context, number);
}

static void AppendDebugText(void*, const char* text) {
    Entry entry;
    entry.kind = Kind::DebugText;
    entry.text = text == nullptr ? "" : text;
    Note(std::move(entry));
    if (const Twl1394Client* client = globals.client)
        client->AppendDebugText(client->Context, text);
}

// The library below has a client of ours. Any other is handed on, so that it is refused there.
static const Twl1394Client* ClientBelow(const Twl1394Client* client) {
    return client != nullptr && client == globals.client ? &globals.own : client;
}

static uint64_t Offset(const Twl1394Address& address) {
    return uint64_t{address.AddressHigh} << 32 | address.AddressLow;
}

static std::string Text(const char* text) {
    return text == nullptr ? "" : text;
}

// `call` is the operation below; `describe` fills in what the entry says besides its result.
template <class Call, class Describe> static int32_t Recorded(Kind kind, Call call, Describe describe) noexcept {
    if (globals.below.module == nullptr)
        return FAILED;
    Entry entry;
    entry.kind = kind;
    entry.start = Now();
    entry.result = call();
    try {
        describe(entry);
    } catch (...) { // without memory there is no entry
        return entry.result;
    }
    const int32_t result = entry.result;
    Note(std::move(entry));
    return result;
}

uint32_t Twl1394InterfaceVersion(void) {
    return LoadLibrary() ? globals.below.InterfaceVersion() : 0;
}

int32_t RegisterClient(const Twl1394Client* client) {
    if (globals.below.module == nullptr)
        return FAILED;
    if (client == nullptr || globals.client != nullptr)
        return globals.below.RegisterClient(client);
    globals.client = client;
    globals.own = {nullptr, PostNotice, AppendDebugText};
    BeginRecord();
    const int32_t result = Recorded(
        Kind::RegisterClient, [] { return globals.below.RegisterClient(&globals.own); }, [](Entry&) {});
    if (result == 1)
        NoteDescription();
    else
        globals.client = nullptr;
    return result;
}

int32_t DeRegisterClient(const Twl1394Client* client) {
    const int32_t result = Recorded(
        Kind::DeRegisterClient, [&] { return globals.below.DeRegisterClient(ClientBelow(client)); }, [](Entry&) {});
    if (result == 1)
        globals.client = nullptr;
    return result;
}

int32_t HookSystemModule(const char* name) {
    return Recorded(
        Kind::HookSystemModule, [&] { return globals.below.HookSystemModule(name); },
        [&](Entry& entry) { entry.text = Text(name); });
}

int32_t SetDebugSpew(const Twl1394Client* client, int32_t level) {
    return Recorded(
        Kind::SetDebugSpew, [&] { return globals.below.SetDebugSpew(ClientBelow(client), level); },
        [&](Entry& entry) { entry.number = static_cast<uint32_t>(level); });
}

int32_t GetVirtualDeviceList(Twl1394VirtualDeviceList* list) {
    return Recorded(
        Kind::GetVirtualDeviceList, [&] { return globals.below.GetVirtualDeviceList(list); },
        [&](Entry& entry) {
            for (uint32_t i = 0; list != nullptr && i < std::min<uint32_t>(list->DeviceCount, std::size(list->Name));
                 ++i)
                entry.text += std::string(list->Name[i], strnlen(list->Name[i], sizeof list->Name[i])) + "\n";
        });
}

static std::string NameOf(const Twl1394VirtualDevice* record) {
    return record == nullptr ? "" : Text(record->Name);
}

int32_t AddVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t reserved) {
    return Recorded(
        Kind::AddVirtualDriver, [&] { return globals.below.AddVirtualDriver(ClientBelow(client), record, reserved); },
        [&](Entry& entry) { entry.text = NameOf(record); });
}

int32_t RemoveVirtualDriver(const Twl1394Client* client, const Twl1394VirtualDevice* record, uint32_t reserved) {
    return Recorded(
        Kind::RemoveVirtualDriver,
        [&] { return globals.below.RemoveVirtualDriver(ClientBelow(client), record, reserved); },
        [&](Entry& entry) { entry.text = NameOf(record); });
}

int32_t Get1394AddressFromDeviceObject(const Twl1394Client* client, const char* device,
                                       Twl1394NodeAddressRequest* request) {
    return Recorded(
        Kind::Get1394Address,
        [&] { return globals.below.Get1394AddressFromDeviceObject(ClientBelow(client), device, request); },
        [&](Entry& entry) { entry.number = request == nullptr ? 0 : request->NodeAddress; });
}

int32_t GetLocalHostInformation(const Twl1394Client* client, const char* device, Twl1394HostInformation* request,
                                uint32_t reserved) {
    return Recorded(
        Kind::GetLocalHostInformation,
        [&] { return globals.below.GetLocalHostInformation(ClientBelow(client), device, request, reserved); },
        [&](Entry& entry) {
            if (request == nullptr)
                return;
            entry.number = request->Level;
            entry.address = Offset(request->CsrAddress);
            entry.size = request->CsrLength;
            if (entry.result != 0)
                return;
            std::size_t size = std::min<std::size_t>(entry.size, sizeof request->CsrData);
            while (size > 0 && request->CsrData[size - 1] == 0)
                --size;
            entry.data.assign(std::begin(request->CsrData), std::begin(request->CsrData) + size);
        });
}

int32_t BusReset(const Twl1394Client* client, const char* device, uint32_t flags) {
    return Recorded(
        Kind::BusReset, [&] { return globals.below.BusReset(ClientBelow(client), device, flags); },
        [&](Entry& entry) { entry.number = flags; });
}

int32_t AllocateAddressRange(const Twl1394Client* client, const char* device, Twl1394AddressRange* range,
                             uint32_t reserved) {
    return Recorded(
        Kind::AllocateAddressRange,
        [&] { return globals.below.AllocateAddressRange(ClientBelow(client), device, range, reserved); },
        [&](Entry& entry) {
            if (range == nullptr)
                return;
            entry.address = Offset(range->RequiredOffset);
            entry.size = range->Length;
            entry.number = range->RangeHandle;
        });
}

int32_t FreeAddressRange(const Twl1394Client* client, const char* device, uint32_t rangeHandle) {
    return Recorded(
        Kind::FreeAddressRange,
        [&] { return globals.below.FreeAddressRange(ClientBelow(client), device, rangeHandle); },
        [&](Entry& entry) { entry.number = rangeHandle; });
}

static void Describe(Entry& entry, uint32_t node, const Twl1394Address* address, uint32_t size, uint32_t timeoutMs,
                     const uint8_t* transferred) {
    entry.node = node;
    entry.address = address == nullptr ? 0 : Offset(*address);
    entry.size = size;
    entry.timeoutMs = timeoutMs;
    if (transferred != nullptr)
        entry.data.assign(transferred, transferred + std::min(size, TWL1394_MAX_PAYLOAD));
}

int32_t AsyncReadWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, uint8_t* data,
                         uint32_t timeoutMs) {
    if (globals.below.module == nullptr)
        return TWL1394_NO_RESPONSE;
    return Recorded(
        Kind::Read, [&] { return globals.below.AsyncReadWrapper(nodeNumber, address, size, data, timeoutMs); },
        [&](Entry& entry) {
            Describe(entry, nodeNumber, address, size, timeoutMs, entry.result == TWL1394_SUCCESS ? data : nullptr);
        });
}

int32_t AsyncWriteWrapper(uint32_t nodeNumber, const Twl1394Address* address, uint32_t size, const uint8_t* data,
                          uint32_t timeoutMs) {
    if (globals.below.module == nullptr)
        return TWL1394_NO_RESPONSE;
    return Recorded(
        Kind::Write, [&] { return globals.below.AsyncWriteWrapper(nodeNumber, address, size, data, timeoutMs); },
        [&](Entry& entry) { Describe(entry, nodeNumber, address, size, timeoutMs, data); });
}

uint32_t QueryElapsedTimeMsLongInt(const int64_t* counter) {
    return globals.below.module == nullptr ? 0 : globals.below.QueryElapsedTimeMsLongInt(counter);
}

void RecorderUseClock(const SimulatorClock* clock) {
    globals.clock.reset();
    if (clock != nullptr)
        globals.clock = std::make_unique<simulator::CallersClock>(*clock, nullptr);
}
